// The passes of the loop over epoll. The kernel keeps the registrations, each with a pointer to the record
// behind the source, and takes changes up by itself while a pass waits. What is left to see to:
//
// - The kernel may have handed out a pointer to a record that another thread removes and deletes before the
//   pass comes to look at it. From before epoll_wait until each event has been looked at under the lock,
//   `_collecting` counts the pass, and a record that is deleted meanwhile is kept until then. Afterwards the
//   pass holds a reference to each record that it has yet to call.
// - A callback may iterate the loop again, and the nested pass may use up what the outer one has found. It
//   leaves no readiness behind in the records that it calls, and the outer pass passes those by.
// - A removal wakes nothing by itself, but the thread in epoll_wait may be waiting for what went with the
//   source. `_waiting` and the eventfd wake it, `_removed` keeps a pass that is only about to wait from doing
//   so.
// - The kernel reports hang-ups and errors whether or not they are watched, in every pass. What nobody can
//   act on is registered edge-triggered: a source without watches from the start, another one when it is told
//   of a hang-up with which it is neither readable nor writable.
// - A change of watches by the thread that calls back waits for the next epoll_wait, see EpollLoopGlueWatches.cpp.
//
// The lock keeps the passes and the other threads apart; a process of one thread does not take it.
#include "tavix/EpollLoopGlueInternal.h"

#include <cstdio>
#include <poll.h>
#include <utility>

namespace Tavix {

void EpollLoopGlue::run()
{
    for (;;)
        iterate();
}

void EpollLoopGlue::iterate()
{
    epoll_event events[kEventsPerPass];
    EpollPass pass(*this);
    const int count = _wait(events, pass);
    _collectReady(events, count, pass);
    _dispatch(pass);
}

int EpollLoopGlue::_wait(epoll_event* events, EpollPass& pass)
{
    {
        Ferrule::Guard<std::mutex> guard(_lock);
        if (_firstNoted)
            _tellChanges();
        ++_collecting;
        pass.collecting = true;
    }
    // A process of one thread has nobody who could remove something meanwhile.
    if (!Ferrule::isSingleThreaded())
        _waiting.store(true);
    // Asked after _waiting is set, so that a later removal wakes the wait.
    const int limit = _removed.load() && _removed.exchange(false) ? 0 : -1;
    const int count = epoll_wait(_epollFd, events, kEventsPerPass, limit);
    _waiting.store(false, std::memory_order_relaxed);
    if (count < 0)
        perror("epoll_wait");
    return count;
}

void EpollLoopGlue::_collectReady(epoll_event const* events, int count, EpollPass& pass)
{
    Ferrule::Guard<std::mutex> guard(_lock);
    for (int i = 0; i < count; ++i) {
        EpollDescriptorInfo* info = static_cast<EpollDescriptorInfo*>(events[i].data.ptr);
        if (!info || !info->added || (info->onEdge && !info->watches(events[i].events)))
            continue;
        // The edge is used up, and another callback's exception may keep the source from its turn.
        if (info->onEdge) {
            info->onEdge = false;
            _control(EPOLL_CTL_MOD, *info);
        }
        pass.take(info, events[i].events);
    }
    _endCollecting(pass);
    if (pass.count > 0 && !_dispatcher.load(std::memory_order_relaxed)) {
        _dispatcher.store(pthread_self(), std::memory_order_relaxed);
        pass.dispatching = true;
    }
}

// Called with the lock held.
void EpollLoopGlue::_endCollecting(EpollPass& pass)
{
    pass.collecting = false;
    if (--_collecting == 0)
        _freeDeleted();
}

void EpollLoopGlue::_giveUpCollecting(EpollPass& pass)
{
    Ferrule::Guard<std::mutex> guard(_lock);
    _endCollecting(pass);
}

// Called with the lock held, or by the last to use the loop.
void EpollLoopGlue::_freeDeleted()
{
    EpollDescriptorInfo* info = std::exchange(_deleted, nullptr);
    while (info)
        std::exchange(info, info->next)->unref();
}

void EpollLoopGlue::_dispatch(EpollPass& pass)
{
    for (; pass.next < pass.count; pass.release()) {
        EpollDescriptorInfo* info = pass.ready[pass.next];
        Ferrule::Guard<std::mutex> guard(_lock);
        if (!info->added || !info->ready())
            continue;
        const SourceCallback callback = info->callback;
        void* const context = info->context;
        // A hang-up alone, which the callback cannot do away with, is not told again until something changes.
        if (!info->onEdge && !info->watches(info->ready())) {
            info->onEdge = true;
            _control(EPOLL_CTL_MOD, *info);
        }
        guard.unlock();
        if (callback)
            callback(info->source(), context);
    }
}

bool EpollLoopGlue::check()
{
    {
        Ferrule::Guard<std::mutex> guard(_lock);
        if (_firstNoted)
            _tellChanges();
    }
    pollfd poller{_epollFd, POLLIN, 0};
    return poll(&poller, 1, 0) > 0;
}

} // namespace Tavix
