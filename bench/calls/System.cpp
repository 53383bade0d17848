#include "System.h"

namespace Bench {

TavixSystem::TavixSystem(Options const& options) : System(options, kParts)
{
    startBus();
    start(kOwner, "owner", {});
    waitReady(kOwner);
    start(kCaller, "caller", {});
    waitReady(kCaller);
}

FloorSystem::FloorSystem(Options const& options) : System(options, kParts)
{
    SocketPair caller;
    SocketPair owner;
    start(kBroker, "floor-bus", {caller.first.get(), owner.first.get()});
    start(kOwner, "floor-owner", {owner.second.get()});
    start(kCaller, "floor-caller", {caller.second.get()});
    for (unsigned part : {+kBroker, +kOwner, +kCaller})
        waitReady(part);
}

} // namespace Bench
