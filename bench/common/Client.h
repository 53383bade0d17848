#ifndef TAVIX_BENCH_COMMON_CLIENT_H
#define TAVIX_BENCH_COMMON_CLIENT_H

#include "common/Fail.h"
#include "common/RunOptions.h"

#include <tavix/EpollLoopGlue.h>
#include <tavix/GlibSelectLoop.h>
#include <tavix/SelectLoopGlue.h>
#include <tavix/TavixProxy.h>

namespace Bench {

inline void check(Tavix::RemoteProxyResult result)
{
    if (result != Tavix::PROXY_OK)
        fail(("an operation of the proxy ended with result " + std::to_string(result)).c_str());
}

// Comes back when the bus has handled all that the proxy has sent: it answers in order.
inline void roundTrip(Tavix::TavixProxy& proxy)
{
    Tavix::RemoteProxyResult result;
    delete proxy.callMethod("tvx", "listObjects", nullptr, result);
    check(result);
}

// Gives back a new loop: "select", "epoll" or "glib".
inline Tavix::PollLoopIf* makeLoop(std::string const& name)
{
    if (name == "select")
        return Tavix::select_loop_glue_new();
    return name == "glib" ? Tavix::glib_select_loop_new() : Tavix::epoll_loop_glue_new();
}

// A proxy that is connected to the system's bus, on a loop of its own or on a shared one.
struct Client {
    explicit Client(RunOptions const& options,
                    SharedPtr<Tavix::PollLoopIf> shared = SharedPtr<Tavix::PollLoopIf>())
        : loop(shared.get() ? shared : SharedPtr<Tavix::PollLoopIf>(new Tavix::SelectLoopGlue)), proxy(loop)
    {
        if (!proxy.connect(nullptr, options.bufferSize))
            fail("connect");
    }

    SharedPtr<Tavix::PollLoopIf> loop;
    Tavix::TavixProxy proxy;
};

} // namespace Bench

#endif
