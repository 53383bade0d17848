#ifndef TAVIX_BENCH_EVENTS_SYSTEM_H
#define TAVIX_BENCH_EVENTS_SYSTEM_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// A broker, a sender, and a process with all observers, each on a connection of its own; perhaps a process
// with observers that never read.
enum Part : unsigned { kSender = System::kDriver, kObservers, kParts, kStuck = kParts };

// tavix-bus and clients over the library.
class TavixSystem : public System {
public:
    TavixSystem(Options const& options, unsigned observers, unsigned stuck);

    // Memory of the broker that is not swapped out, in bytes.
    std::size_t brokerMemory() const;
};

// The floor, over socket pairs.
class FloorSystem : public System {
public:
    FloorSystem(Options const& options, unsigned observers);
};

} // namespace Bench

#endif
