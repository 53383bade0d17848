#ifndef TAVIX_BENCH_COMMON_EVENTFLOOR_H
#define TAVIX_BENCH_COMMON_EVENTFLOOR_H

#include "common/RunOptions.h"
#include "common/System.h"

namespace Bench {

// The floor: processes that move the frames of real events and do nothing else. The forwarder waits, reads the
// size, reads the body, and sends once to each observer; an observer waits, reads the size, reads the body.
// Buffers are allocated once, nothing is looked at but the size. Each runs until its peers go and answers the
// exit status.

int runEventForwarder(RunOptions const& options); // sockets: of the sender, of each observer
int runFloorObservers(RunOptions const& options); // sockets: where progress is told, of each observer
int runFloorSender(RunOptions const& options);    // two sockets: the observers' progress, the forwarder

// All three, over socket pairs. The parts are those of EventSystem.
class EventFloor : public System {
public:
    EventFloor(RunOptions const& options, unsigned observers);
};

} // namespace Bench

#endif
