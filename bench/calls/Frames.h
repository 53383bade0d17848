#ifndef TAVIX_BENCH_CALLS_FRAMES_H
#define TAVIX_BENCH_CALLS_FRAMES_H

#include "Options.h"
#include "common/LoneProxy.h"

#include <vector>

namespace Bench {

struct FramePair {
    Frame request; // as it reaches the object's owner
    Frame reply;
};

// The bytes of one call: what a real TavixProxy writes for it, and what a real TavixProxy that serves the
// object answers, taken from the far ends of their sockets.
FramePair captureFrames(Options const& options, unsigned payload);

std::vector<FramePair> captureAllFrames(Options const& options);

} // namespace Bench

#endif
