#include "tavix/ServedObjectInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/StringElem.h"

#include <new>

namespace Tavix {

RemoteProxyResult startSharing(TavixProxy*& proxy, TavixProxy* onProxy, std::string const& name,
                               SharedObjectObserver* object)
{
    if (proxy)
        return PROXY_OBJECT_ALREADY_EXISTS;
    proxy = onProxy ? onProxy : TavixProxy::instance();
    if (!proxy)
        return PROXY_CONNECTION_ERROR;
    RemoteProxyResult result = PROXY_CONNECTION_ERROR;
    if (proxy->isConnected() || proxy->connect("", 0))
        result = proxy->addSharedObject(name, object);
    if (result != PROXY_OK)
        proxy = nullptr;
    return result;
}

RemoteProxyResult stopSharing(TavixProxy*& proxy, std::string const& name, SharedObjectObserver const* object)
{
    if (!proxy)
        return PROXY_OBJECT_NOT_FOUND;
    const bool replaced = proxy->isConnected() && proxy->isServedByAnother(name, object);
    RemoteProxyResult result = replaced ? PROXY_OK : proxy->removeSharedObject(name);
    if (result == PROXY_OK)
        proxy = nullptr;
    return result;
}

std::unique_ptr<MapElem> describeInterface(std::function<void(MapElem* methods)> const& addMethods)
{
    std::unique_ptr<MapElem> root(new (std::nothrow) MapElem);
    if (!root)
        return nullptr;
    MapElem* methods = new MapElem;
    root->addChild("methods", methods);
    addMethods(methods);
    MapElem* describe = new MapElem;
    describe->addChild("description", new StringElem("Generate a basic API description for this object."));
    methods->addChild(kDescribeMethod, describe);
    return root;
}

} // namespace Tavix
