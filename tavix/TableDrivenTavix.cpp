#include "tavix/TableDrivenTavix.h"

#include "tavix/ServedObjectInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/FileDescriptorVisitor.h"

namespace Tavix {

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
    if (params)
        closeDescriptors(params);
    return callBuiltInMethod(this, objName == name, method);
}

RemoteProxyResult TableDrivenTavix::startShare(TavixProxy* onProxy)
{
    return startSharing(proxy, onProxy, name, this);
}

RemoteProxyResult TableDrivenTavix::stopShare()
{
    return stopSharing(proxy, name, this);
}

Element* TableDrivenTavix::generateInterfaceDescription()
{
    std::unique_ptr<MapElem> description = describeInterface([this](MapElem* methods) {
        for (unsigned i = 0; i < numEntries; ++i)
            methods->addChild(entries[i].name, new MapElem);
    });
    if (description)
        _populateInterfaceDescription(description.get());
    return description.release();
}

void TableDrivenTavix::_populateInterfaceDescription(Element*)
{
}

} // namespace Tavix
