#include "tavix/SharedObjectObserver.h"

#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorVisitor.h"

#include <utility>

namespace Tavix {

SharedObjectObserver::MethodInvocation::~MethodInvocation() = default;

SharedObjectObserver::~SharedObjectObserver() = default;

Element* SharedObjectObserver::callMethod(std::string, std::string, Element* params)
{
    if (params)
        closeDescriptors(params);
    return new ExceptionElem("Unknown method", -1);
}

Element* SharedObjectObserver::callMethod(std::string objName, std::string method, Element* params,
                                          std::string const&)
{
    return callMethod(std::move(objName), std::move(method), params);
}

bool SharedObjectObserver::handleMethod(SharedPtr<MethodInvocation>)
{
    return false;
}

} // namespace Tavix
