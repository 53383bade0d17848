#ifndef TAVIX_ACTIVATIONPENDINGINTERNAL_H
#define TAVIX_ACTIVATIONPENDINGINTERNAL_H

#include "tavix/Message.h"
#include "tavix/elements/EESPeekParser.h"
#include "tavix/foundation/SharedPtr.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

// The calls that wait until an object of their name registers. Without a limit of number or time.
class ActivationPending {
public:
    // One call as it has arrived.
    struct Method {
        SharedPtr<Message> message;
        RoutingFields fields; // the texts lie in the message
    };

    void add(std::string_view name, SharedPtr<Message> const& message, RoutingFields const& fields);

    // Takes out the calls for a name, oldest first.
    std::vector<Method> take(std::string_view name);

private:
    std::map<std::string, std::vector<Method>, std::less<>> _methods; // no list is empty
};

} // namespace Tavix

#endif
