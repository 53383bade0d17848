#ifndef TAVIX_BENCH_CALLS_CLIENTS_H
#define TAVIX_BENCH_CALLS_CLIENTS_H

#include "Options.h"

#include <tavix/SharedObjectObserver.h>
#include <tavix/elements/Element.h>

namespace Bench {

constexpr char kObjectName[] = "bench";
constexpr char kMethodName[] = "echo";

// Give back a new argument, and a new object that answers as the options say.
Tavix::Element* makeArgument(Options const& options, unsigned payload);
Tavix::SharedObjectObserver* makeObject(Options const& options);

// The clients of the real system. Each runs until its broker or its parent goes, and answers the exit status.
int runOwner(Options const& options);
int runCaller(Options const& options);

} // namespace Bench

#endif
