#include "tavix/TavixTemplate.h"

#include "tavix/ServedObjectInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/foundation/Check.h"

#include <cstring>

namespace Tavix {

void TavixTemplate::BaseMethodCall::reserved()
{
}

TavixTemplate::BaseMethodCall::~BaseMethodCall() = default;

bool TavixTemplate::ltstr::operator()(char const* a, char const* b) const
{
    return std::strcmp(a, b) < 0;
}

TavixTemplate::TavixTemplate(std::string const& objectName) : name(objectName)
{
}

TavixTemplate::~TavixTemplate()
{
    TavixProxy* const sharedOn = proxy;
    if (sharedOn && stopShare() != PROXY_OK)
        sharedOn->forgetObserver(name, this);
    for (auto const& [method, handler] : methods)
        delete handler;
}

void TavixTemplate::addMethod(char const* method, BaseMethodCall* handler)
{
    TAVIX_CHECK(method && handler, "method && handler");
    BaseMethodCall*& place = methods[method];
    if (place != handler)
        delete place;
    place = handler;
}

bool TavixTemplate::handleMethod(SharedPtr<MethodInvocation> invocation)
{
    std::string const& method = invocation->getMethodName();
    auto entry = methods.find(method.c_str());
    // A name with a zero byte in it equals its beginning only as far as the comparison sees.
    if (entry == methods.end() || method.size() != std::strlen(entry->first))
        return false;
    return entry->second->invoke(this, invocation);
}

Element* TavixTemplate::callMethod(std::string objName, std::string method, Element* params)
{
    if (params)
        closeDescriptors(params);
    return callBuiltInMethod(this, objName == name, method);
}

int TavixTemplate::reserved()
{
    return 0;
}

RemoteProxyResult TavixTemplate::startShare(TavixProxy* onProxy)
{
    return startSharing(proxy, onProxy, name, this);
}

RemoteProxyResult TavixTemplate::stopShare()
{
    return stopSharing(proxy, name, this);
}

Element* TavixTemplate::generateInterfaceDescription()
{
    return describeInterface([this](MapElem* described) {
               for (auto const& [method, handler] : methods)
                   handler->describe(method, described);
           })
        .release();
}

} // namespace Tavix
