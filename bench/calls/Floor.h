#ifndef TAVIX_BENCH_CALLS_FLOOR_H
#define TAVIX_BENCH_CALLS_FLOOR_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// The floor: three processes that move the frames of real calls and do nothing else. Per frame and hop they
// wait, read the size, read the body and send, as every broker with such a frame must; buffers are allocated
// once, nothing is looked at but the size. Each runs until its peers go and answers the exit status.

int runFloorForwarder(Options const& options); // two sockets: of the caller, of the owner
int runFloorOwner(Options const& options);     // one socket
int runFloorCaller(Options const& options);    // one socket

// All three, over socket pairs. The parts are those of CallSystem.
class FloorSystem : public System {
public:
    explicit FloorSystem(Options const& options);
};

} // namespace Bench

#endif
