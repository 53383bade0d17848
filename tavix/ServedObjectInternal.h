#ifndef TAVIX_SERVEDOBJECTINTERNAL_H
#define TAVIX_SERVEDOBJECTINTERNAL_H

#include "tavix/RemoteProxyResult.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/MapElem.h"

#include <functional>
#include <memory>
#include <string>

namespace Tavix {

class SharedObjectObserver;
class TavixProxy;

// What the ready bases of served objects, TableDrivenTavix and TavixTemplate, have in common: how they come to
// the bus and leave it, and the one method that both have beside their own.

constexpr char kDescribeMethod[] = "generateInterfaceDescription";

// `proxy` is the object's own: the proxy that it is shared on, null while it is not.
RemoteProxyResult startSharing(TavixProxy*& proxy, TavixProxy* onProxy, std::string const& name,
                               SharedObjectObserver* object);
RemoteProxyResult stopSharing(TavixProxy*& proxy, std::string const& name,
                              SharedObjectObserver const* object);

// A new tree {"methods": {...}}: what addMethods adds to the inner map, and the method of both. Null when
// memory runs out.
std::unique_ptr<MapElem> describeInterface(std::function<void(MapElem* methods)> const& addMethods);

// The answer to a method that the object itself does not have.
template <class Object>
Element* callBuiltInMethod(Object* object, bool isOwnName, std::string const& method)
{
    if (!isOwnName || method != kDescribeMethod)
        return new ExceptionElem("Unknown method name", -1);
    Element* description = object->generateInterfaceDescription();
    return description ? description : new ExceptionElem("Out of memory", -1);
}

} // namespace Tavix

#endif
