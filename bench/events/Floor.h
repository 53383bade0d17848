#ifndef TAVIX_BENCH_EVENTS_FLOOR_H
#define TAVIX_BENCH_EVENTS_FLOOR_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// The floor: processes that move the frames of real events and do nothing else. The forwarder waits, reads the
// size, reads the body, and sends once to each observer; an observer waits, reads the size, reads the body.
// Buffers are allocated once, nothing is looked at but the size. Each runs until its peers go and answers the
// exit status.

int runFloorForwarder(Options const& options); // sockets: of the sender, of each observer
int runFloorObservers(Options const& options); // sockets: where progress is told, of each observer
int runFloorSender(Options const& options);    // two sockets: the observers' progress, the forwarder

// All three, over socket pairs. The parts are those of EventSystem.
class FloorSystem : public System {
public:
    FloorSystem(Options const& options, unsigned observers);
};

} // namespace Bench

#endif
