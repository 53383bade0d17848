#ifndef TAVIX_EPOLLLOOPGLUEINTERNAL_H
#define TAVIX_EPOLLLOOPGLUEINTERNAL_H

#include "tavix/EpollLoopGlue.h"
#include "tavix/foundation/AtomicCounter.h"
#include "tavix/foundation/Check.h"

#include <atomic>
#include <sys/epoll.h>

namespace Tavix {

// The record behind a source. The loop's lock guards what may change, but for the two that guard themselves.
struct EpollDescriptorInfo {
    explicit EpollDescriptorInfo(int descriptor) : fd(descriptor) { event.data.ptr = this; }

    static EpollDescriptorInfo* of(void** source)
    {
        TAVIX_CHECK(source, "source");
        return reinterpret_cast<EpollDescriptorInfo*>(source);
    }

    void** source() { return reinterpret_cast<void**>(this); }

    void ref()
    {
        TAVIX_CHECK(refcount.get() > 0, "refcount");
        ++refcount;
    }

    void unref()
    {
        if (--refcount == 0)
            delete this;
    }

    unsigned wanted() const { return event.events | (onEdge ? EPOLLET : 0u); }
    bool watches(unsigned events) const { return events & event.events; }
    unsigned ready() const { return readyEvents.load(std::memory_order_relaxed); }
    void setReady(unsigned events) { readyEvents.store(events, std::memory_order_relaxed); }

    Ferrule::AtomicCounter refcount{1}; // the handle's reference, and one per pass that has yet to come to it
    const int fd;
    bool added = false;
    std::atomic<unsigned> readyEvents{0}; // of the dispatch in progress
    SourceCallback callback = nullptr;
    epoll_event event{}; // what is watched
    void* context = nullptr;
    bool onEdge = false;                 // the kernel is to report edges only
    bool noted = false;                  // a change of the two is noted: the kernel is still to learn of it
    unsigned told = 0;                   // `wanted` as the kernel was told last
    EpollDescriptorInfo* next = nullptr; // among the deleted
    EpollDescriptorInfo* previousNoted = nullptr;
    EpollDescriptorInfo* nextNoted = nullptr;
};

const int kEventsPerPass = 50;

// The records that a pass has yet to call, with a reference to each; those that a callback that throws has
// kept from their turn are ready in the next pass, too.
struct EpollPass {
    explicit EpollPass(EpollLoopGlue& of) : loop(of) {}
    EpollPass(EpollPass const&) = delete;
    EpollPass& operator=(EpollPass const&) = delete;
    ~EpollPass()
    {
        while (next < count)
            release();
        if (dispatching)
            loop._dispatcher.store(0, std::memory_order_relaxed);
        if (collecting) // the thread is cancelled in epoll_wait
            loop._giveUpCollecting(*this);
    }

    void take(EpollDescriptorInfo* info, unsigned events)
    {
        info->setReady(events);
        info->ref();
        ready[count++] = info;
    }

    void release()
    {
        ready[next]->setReady(0);
        ready[next++]->unref();
    }

    EpollLoopGlue& loop;
    bool collecting = false;  // counts among the loop's
    bool dispatching = false; // has entered its thread as the loop's dispatcher
    EpollDescriptorInfo* ready[kEventsPerPass];
    int count = 0;
    int next = 0;
};

} // namespace Tavix

#endif
