#ifndef TAVIX_BENCH_COMMON_CALLFRAMES_H
#define TAVIX_BENCH_COMMON_CALLFRAMES_H

#include "common/CallClients.h"
#include "common/LoneProxy.h"

#include <vector>

namespace Bench {

struct FramePair {
    Frame request; // as it reaches the object's owner
    Frame reply;
};

// The bytes of one call: what a real TavixProxy writes for it, and what a real TavixProxy that serves the
// object answers, taken from the far ends of their sockets.
FramePair captureFrames(CallStyle const& style, unsigned payload);

// Those of each of the sizes.
std::vector<FramePair> captureAllFrames(RunOptions const& options, CallStyle const& style);

} // namespace Bench

#endif
