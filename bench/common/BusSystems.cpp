#include "common/BusSystems.h"

namespace Bench {

CallSystem::CallSystem(RunOptions const& options, Setting const& setting, std::string const& loop)
    : System(options, setting.idle > 0 ? kCallParts + 1 : +kCallParts)
{
    startBus(loop);
    if (setting.idle > 0)
        startClients(kIdle, "idle", setting.idle);
    startClients(kOwner, "owner", setting.pairs);
    startClients(kCaller, "caller", setting.pairs);
}

// The observers tell the sender over a socket pair of their own what has arrived.
EventSystem::EventSystem(RunOptions const& options, unsigned observers, unsigned stuck,
                         std::string const& loop)
    : System(options, stuck > 0 ? kEventParts + 1 : +kEventParts)
{
    startBus(loop);
    if (stuck > 0)
        startClients(kStuck, "stuck", stuck);
    SocketPair progress;
    startClients(kObservers, "observers", observers, {progress.first.get()});
    startClients(kSender, "sender", 1, {progress.second.get()});
}

} // namespace Bench
