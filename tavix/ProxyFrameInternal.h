#ifndef TAVIX_PROXYFRAMEINTERNAL_H
#define TAVIX_PROXYFRAMEINTERNAL_H

#include "tavix/ProxyInternal.h"

#include <memory>

namespace Tavix {

// What the proxies are doing on the calling thread, innermost first: a turn, which is the callback of a connection's
// socket, or a wait, which runs the loop inside one or outside of any. What is sent inside a turn leaves at its end,
// or before a wait in it.
class ProxyFrame {
public:
    // A turn.
    ProxyFrame(TavixProxy const& proxy, std::shared_ptr<ProxyLink> const& turned)
        : _proxy(&proxy), _link(turned)
    {
        innermost = this;
    }
    // A wait. Sends what the turns around it have held back.
    explicit ProxyFrame(TavixProxy const& proxy) : _proxy(&proxy)
    {
        flushAll();
        innermost = this;
    }
    ProxyFrame(ProxyFrame const&) = delete;
    ProxyFrame& operator=(ProxyFrame const&) = delete;
    ~ProxyFrame() { innermost = _outer; }

    // Sends what the turns of this thread have held back, as far as the sockets take it. To be called before the thread
    // blocks. Calls nobody back, and touches no proxy.
    static void flushAll();

    // In the child of a fork, which has no part in the turns of its parent.
    static void forgetAll() { innermost = nullptr; }

    // A proxy goes, perhaps in its own turn: what was held back leaves, and no frame of this thread touches the proxy
    // again.
    static void forget(TavixProxy const& proxy);
    bool isForgotten() const { return !_proxy; }

    // Whether what is sent on the link now belongs to a turn.
    static bool isTurnOf(TavixProxy const& proxy, ProxyLink const& link);

    // Whether the proxy waits further out.
    static bool isWaitingIn(TavixProxy const& proxy);

private:
    static thread_local ProxyFrame* innermost;

    ProxyFrame* const _outer = innermost;
    TavixProxy const* _proxy;               // null when it has gone
    const std::shared_ptr<ProxyLink> _link; // null in a wait
};

} // namespace Tavix

#endif
