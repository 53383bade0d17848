#ifndef TAVIX_BENCH_COMMON_EVENTCLIENTS_H
#define TAVIX_BENCH_COMMON_EVENTCLIENTS_H

#include "common/LoneProxy.h"
#include "common/RunOptions.h"

namespace Bench {

// The clients of the real system. Each runs until its broker or its parent goes, and answers the exit status.
int runSender(RunOptions const& options);    // one socket: the observers' progress
int runObservers(RunOptions const& options); // one socket: where progress is told
int runStuck(RunOptions const& options);     // observes and never reads

// The bytes of one event with so large a value, as a real TavixProxy writes them.
Frame captureEvent(unsigned payload);

} // namespace Bench

#endif
