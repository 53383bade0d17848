#ifndef TAVIX_BENCH_EVENTS_CLIENTS_H
#define TAVIX_BENCH_EVENTS_CLIENTS_H

#include "Options.h"
#include "common/LoneProxy.h"

namespace Bench {

// The clients of the real system. Each runs until its broker or its parent goes, and answers the exit status.
int runSender(Options const& options);    // one socket: the observers' progress
int runObservers(Options const& options); // one socket: where progress is told
int runStuck(Options const& options);     // observes and never reads

// The bytes of one event with so large a value, as a real TavixProxy writes them.
Frame captureEvent(unsigned payload);

} // namespace Bench

#endif
