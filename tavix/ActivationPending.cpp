#include "tavix/ActivationPendingInternal.h"

#include <utility>

namespace Tavix {

void ActivationPending::add(std::string_view name, SharedPtr<Message> const& message,
                            RoutingFields const& fields)
{
    auto waiting = _methods.find(name);
    if (waiting == _methods.end())
        waiting = _methods.emplace(name, std::vector<Method>()).first;
    waiting->second.push_back({message, fields});
}

std::vector<ActivationPending::Method> ActivationPending::take(std::string_view name)
{
    std::vector<Method> taken;
    auto waiting = _methods.find(name);
    if (waiting != _methods.end()) {
        taken = std::move(waiting->second);
        _methods.erase(waiting);
    }
    return taken;
}

} // namespace Tavix
