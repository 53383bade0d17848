#include "tavix/TableDrivenTavix.h"

#include "tavix/TavixProxy.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

#include <memory>
#include <new>

namespace Tavix {

namespace {

const char kDescribe[] = "generateInterfaceDescription";

} // namespace

TableDrivenTavix::TableDrivenTavix(std::string const& objectName, Entry const* table, unsigned count)
    : name(objectName), entries(table), numEntries(count)
{
}

TableDrivenTavix::~TableDrivenTavix()
{
    TavixProxy* const sharedOn = proxy;
    if (sharedOn && stopShare() != PROXY_OK)
        sharedOn->forgetObserver(name, this);
}

Element* TableDrivenTavix::callMethod(std::string objName, std::string method, Element* params)
{
    for (unsigned i = 0; i < numEntries; ++i) {
        if (method == entries[i].name)
            return entries[i].function(this, objName, method, params);
    }
    if (objName == name && method == kDescribe) {
        if (Element* description = generateInterfaceDescription())
            return description;
        return new ExceptionElem("Out of memory", -1);
    }
    return new ExceptionElem("Unknown method name", -1);
}

RemoteProxyResult TableDrivenTavix::startShare(TavixProxy* onProxy)
{
    if (proxy)
        return PROXY_OBJECT_ALREADY_EXISTS;
    proxy = onProxy ? onProxy : TavixProxy::instance();
    if (!proxy)
        return PROXY_CONNECTION_ERROR;
    RemoteProxyResult result = PROXY_CONNECTION_ERROR;
    if (proxy->isConnected() || proxy->connect("", 0))
        result = proxy->addSharedObject(name, this);
    if (result != PROXY_OK)
        proxy = nullptr;
    return result;
}

RemoteProxyResult TableDrivenTavix::stopShare()
{
    if (!proxy)
        return PROXY_OBJECT_NOT_FOUND;
    RemoteProxyResult result = proxy->removeSharedObject(name);
    if (result == PROXY_OK)
        proxy = nullptr;
    return result;
}

Element* TableDrivenTavix::generateInterfaceDescription()
{
    std::unique_ptr<MapElem> root(new (std::nothrow) MapElem);
    if (!root)
        return nullptr;
    MapElem* methods = new MapElem;
    root->addChild("methods", methods);
    for (unsigned i = 0; i < numEntries; ++i)
        methods->addChild(entries[i].name, new MapElem);
    MapElem* describe = new MapElem;
    describe->addChild("description", new StringElem("Generate a basic API description for this object."));
    methods->addChild(kDescribe, describe);
    _populateInterfaceDescription(root.get());
    return root.release();
}

void TableDrivenTavix::_populateInterfaceDescription(Element*)
{
}

} // namespace Tavix
