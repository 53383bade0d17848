#ifndef TAVIX_BENCH_COMMON_BUSSYSTEMS_H
#define TAVIX_BENCH_COMMON_BUSSYSTEMS_H

#include "common/System.h"

namespace Bench {

// The systems with the real broker. Connections that nothing is to be heard of come first in the broker's tables:
// so they stand in the way of all others, if they do.

// tavix-bus, a process with callers and one with as many owners; perhaps one with idle connections.
enum CallPart : unsigned { kCaller = System::kDriver, kOwner, kCallParts, kIdle = kCallParts };

class CallSystem : public System {
public:
    struct Setting {
        unsigned pairs = 1;
        unsigned idle = 0;
    };

    // loop: the broker's.
    CallSystem(RunOptions const& options, Setting const& setting, std::string const& loop);
};

// tavix-bus, a sender, and a process with all observers, each on a connection of its own; perhaps a process with
// observers that never read.
enum EventPart : unsigned { kSender = System::kDriver, kObservers, kEventParts, kStuck = kEventParts };

class EventSystem : public System {
public:
    EventSystem(RunOptions const& options, unsigned observers, unsigned stuck, std::string const& loop);
};

} // namespace Bench

#endif
