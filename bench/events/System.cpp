#include "System.h"

#include "common/Fail.h"

#include <fstream>
#include <unistd.h>

namespace Bench {

// In both systems the observers tell the sender over a socket pair of their own what has arrived. The observers
// that never read come first in the broker's list: so they stand in the way of all others, if they do.
TavixSystem::TavixSystem(Options const& options, unsigned observers, unsigned stuck)
    : System(options, stuck > 0 ? kParts + 1 : +kParts)
{
    startBus();
    if (stuck > 0) {
        start(kStuck, "stuck", {}, {"--clients", std::to_string(stuck)});
        waitReady(kStuck);
    }
    SocketPair progress;
    start(kObservers, "observers", {progress.first.get()}, {"--clients", std::to_string(observers)});
    waitReady(kObservers);
    start(kSender, "sender", {progress.second.get()});
    waitReady(kSender);
}

std::size_t TavixSystem::brokerMemory() const
{
    std::ifstream file("/proc/" + std::to_string(process(kBroker).pid()) + "/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    if (!(file >> size >> resident))
        fail("/proc is needed");
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

FloorSystem::FloorSystem(Options const& options, unsigned observers) : System(options, kParts)
{
    SocketPair progress;
    SocketPair sender;
    std::vector<SocketPair> pairs(observers);
    std::vector<int> near{sender.first.get()};
    std::vector<int> far{progress.first.get()};
    for (SocketPair const& pair : pairs) {
        near.push_back(pair.first.get());
        far.push_back(pair.second.get());
    }
    start(kBroker, "floor-bus", near);
    start(kObservers, "floor-observers", far);
    start(kSender, "floor-sender", {progress.second.get(), sender.second.get()});
    for (unsigned part : {+kBroker, +kObservers, +kSender})
        waitReady(part);
}

} // namespace Bench
