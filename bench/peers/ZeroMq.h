#ifndef TAVIX_BENCH_PEERS_ZEROMQ_H
#define TAVIX_BENCH_PEERS_ZEROMQ_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// ZeroMQ over ipc, with the parts of CallSystem and EventSystem. The broker is zmq_proxy in a process of this
// program.

// A DEALER calls, through ROUTER and DEALER of the broker, a DEALER that answers what came.
class ZeroMqCalls : public System {
public:
    explicit ZeroMqCalls(RunOptions const& options);
};

// An XPUB sends, through XSUB and XPUB of the broker, to the SUB of each observer.
class ZeroMqEvents : public System {
public:
    ZeroMqEvents(RunOptions const& options, unsigned observers);
};

// The roles. Each runs until it is ended, or its parent goes.
int runZeroMqRouter(RunOptions const& options);
int runZeroMqOwner(RunOptions const& options);
int runZeroMqCaller(RunOptions const& options);
int runZeroMqForwarder(RunOptions const& options); // says ready again when each of the clients has subscribed
int runZeroMqObservers(RunOptions const& options); // one socket: where progress is told
int runZeroMqSender(RunOptions const& options);    // one socket: the observers' progress

} // namespace Bench

#endif
