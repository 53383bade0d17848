#ifndef TAVIX_BENCH_PEERS_PEERS_H
#define TAVIX_BENCH_PEERS_PEERS_H

#include "Options.h"
#include "common/System.h"

#include <functional>

namespace Bench {

// One of the things compared, in its two kinds of systems.
struct Peer {
    std::string name;
    std::function<std::unique_ptr<System>(Options const&)> startCalls;
    std::function<std::unique_ptr<System>(Options const&, unsigned observers)> startEvents;
};

// The floor, and behind it the peers asked for that are there. The others are named on standard error, a line each.
std::vector<Peer> choosePeers(Options const& options);

} // namespace Bench

#endif
