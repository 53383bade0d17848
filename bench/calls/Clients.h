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

// The processes of the real system. Each runs until its broker or its parent goes, and answers the exit
// status.
int runOwner(Options const& options);
int runCaller(Options const& options);
int runEmbeddedBus(Options const& options);

// Throws a std::runtime_error, which ends this process with status 1 and its children with it.
[[noreturn]] void fail(char const* what);

} // namespace Bench

#endif
