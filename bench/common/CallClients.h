#ifndef TAVIX_BENCH_COMMON_CALLCLIENTS_H
#define TAVIX_BENCH_COMMON_CALLCLIENTS_H

#include "common/RunOptions.h"

#include <tavix/SharedObjectObserver.h>
#include <tavix/elements/Element.h>

namespace Bench {

struct CallStyle {
    bool binary = false; // the argument is a BinaryElem, else a StringElem
    bool echo = true;    // the reply is the argument, else a null
    bool token = false;  // the object answers through its MethodInvocation, else by callMethod
};

constexpr char kMethodName[] = "echo";

// The object of a pair of caller and owner, which are numbered from 0.
std::string objectName(unsigned pair);

// Give back a new argument, and a new object that answers it.
Tavix::Element* makeArgument(CallStyle const& style, unsigned payload);
Tavix::SharedObjectObserver* makeObject(CallStyle const& style);

// The clients of the real system: options.clients owners in one process, as many callers in another, each on a
// connection of its own. Each process runs until its broker or its parent goes, and answers the exit status.
int runOwners(RunOptions const& options, CallStyle const& style);
int runCallers(RunOptions const& options, CallStyle const& style);

// So many connections that nothing happens on.
int runIdle(RunOptions const& options);

} // namespace Bench

#endif
