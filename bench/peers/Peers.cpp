#include "Peers.h"

#include "common/BusSystems.h"
#include "common/CallFloor.h"
#include "common/EventFloor.h"
#ifdef TAVIX_BENCH_ZEROMQ
#include "ZeroMq.h"
#endif
#ifdef TAVIX_BENCH_SD_BUS
#include "SdBus.h"
#endif

#include <algorithm>
#include <cstdio>

namespace Bench {

namespace {

template <class Calls, class Events>
Peer makePeer(char const* name)
{
    return {name, [](Options const& options) { return std::make_unique<Calls>(options); },
            [](Options const& options, unsigned observers) {
                return std::make_unique<Events>(options, observers);
            }};
}

#ifdef TAVIX_BENCH_SD_BUS
Peer makeSdBus(char const* broker)
{
    return {broker,
            [broker](Options const& options) { return std::make_unique<SdBusCalls>(options, broker); },
            [broker](Options const& options, unsigned observers) {
                return std::make_unique<SdBusEvents>(options, observers, broker);
            }};
}
#endif

Peer makeTavix()
{
    return {"tavix",
            [](Options const& options) {
                return std::make_unique<CallSystem>(options, CallSystem::Setting(), options.loop);
            },
            [](Options const& options, unsigned observers) {
                return std::make_unique<EventSystem>(options, observers, 0, options.loop);
            }};
}

std::vector<Peer> presentPeers()
{
    std::vector<Peer> peers{makeTavix()};
#ifdef TAVIX_BENCH_ZEROMQ
    peers.push_back(makePeer<ZeroMqCalls, ZeroMqEvents>("zeromq"));
#endif
#ifdef TAVIX_BENCH_SD_BUS
    for (char const* broker : {kDbusDaemon, kDbusBroker}) {
        if (programIsThere(broker))
            peers.push_back(makeSdBus(broker));
    }
#endif
    return peers;
}

} // namespace

std::vector<Peer> choosePeers(Options const& options)
{
    const std::vector<Peer> present = presentPeers();
    std::vector<Peer> chosen{makePeer<CallFloor, EventFloor>("floor")};
    for (std::string const& name : options.peers) {
        const auto found =
            std::find_if(present.begin(), present.end(), [&](Peer const& peer) { return peer.name == name; });
        if (found != present.end())
            chosen.push_back(*found);
        else
            std::fprintf(stderr, "bench_peers: %s is left out, it is not installed\n", name.c_str());
    }
    return chosen;
}

} // namespace Bench
