#ifndef TAVIX_BENCH_COMMON_CALLFLOOR_H
#define TAVIX_BENCH_COMMON_CALLFLOOR_H

#include "common/CallClients.h"
#include "common/System.h"

namespace Bench {

// The floor: three processes that move the frames of real calls and do nothing else. Per frame and hop they
// wait, read the size, read the body and send, as every broker with such a frame must; buffers are allocated
// once, nothing is looked at but the size. Each runs until its peers go and answers the exit status.

int runCallForwarder(RunOptions const& options); // two sockets: of the caller, of the owner
int runFloorOwner(RunOptions const& options, CallStyle const& style);  // one socket
int runFloorCaller(RunOptions const& options, CallStyle const& style); // one socket

// All three, over socket pairs. The parts are those of CallSystem.
class CallFloor : public System {
public:
    explicit CallFloor(RunOptions const& options);
};

} // namespace Bench

#endif
