// The callback of a connection's socket, called a turn, and the waits.
//
// A turn takes what one read brings, message by message, and holds back what its handlers send until its end. Two
// things may come in between. A handler waits in the proxy: what it held back leaves first, the wait goes on with what
// has been read before it reads on, and takes one message at a time, so that nothing behind the awaited one is looked
// at before the waiter has it. Or a handler runs the loop itself, which knows of neither: so while a handler runs and
// something was read ahead or held back, and while a turn or a wait leaves something behind, the write watch stands and
// the loop calls back (`recalled`). A loop may do so twice in one pass, once for reading and once for writing; a wait
// passes the second by. A turn that has gone on for a tick of the clock leaves the rest to such a call: the
// loop's other sources have a right to theirs, and those who wait for an answer to what is held back.

#include "tavix/LateThrowInternal.h"
#include "tavix/Message.h"
#include "tavix/ProxyFrameInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <cxxabi.h>
#include <pthread.h>
#include <utility>

namespace Tavix {

namespace {

// How many sends are made before the loop looks at other sources.
const int kSendsPerTurn = 64;

// How many bytes are held back, where a message counts for 1 KiB at least: what a callback sends on and on is to reach
// the peer meanwhile, and more hardly go into one send.
const unsigned kMostHeldBack = 65536;
const unsigned kLeastCounted = 1024;

// Changes with every tick of the system's clock, a few milliseconds; costs no system call.
long clockTick()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_nsec;
}

} // namespace

// A handler that ends the process does not come back to the end of its turn. One that forks leaves nothing to the
// child, which would send it once more.
static struct SendAtExit {
    SendAtExit() { pthread_atfork(ProxyFrame::flushAll, nullptr, ProxyFrame::forgetAll); }
    ~SendAtExit() { ProxyFrame::flushAll(); }
} sendAtExit;

thread_local ProxyFrame* ProxyFrame::innermost = nullptr;

bool ProxyFrame::isTurnOf(TavixProxy const& proxy, ProxyLink const& link)
{
    for (ProxyFrame* frame = innermost; frame; frame = frame->_outer) {
        if (frame->_proxy == &proxy && (!frame->_link || frame->_link.get() == &link))
            return frame->_link != nullptr;
    }
    return false;
}

bool ProxyFrame::isWaitingIn(TavixProxy const& proxy)
{
    for (ProxyFrame* frame = innermost; frame; frame = frame->_outer) {
        if (frame->_proxy == &proxy && !frame->_link)
            return true;
    }
    return false;
}

// The watch stands for what the socket does not take; a break is found by the turn's end or the loop.
void ProxyFrame::flushAll()
{
    for (ProxyFrame* frame = innermost; frame; frame = frame->_outer) {
        if (!frame->_link)
            continue;
        frame->_link->connection.checkSendQueue();
        frame->_link->connection.writeMessages(INT_MAX);
    }
}

void ProxyFrame::forget(TavixProxy const& proxy)
{
    flushAll();
    for (ProxyFrame* frame = innermost; frame; frame = frame->_outer) {
        if (frame->_proxy == &proxy)
            frame->_proxy = nullptr;
    }
}

void TavixProxy::sourceCallback(void** source, void* proxy)
{
    static_cast<TavixProxy*>(proxy)->sourceReadOrWrite(source);
}

void TavixProxy::sourceReadOrWrite(void** source)
{
    // Asked before a handler can run: a nested pass of the loop takes the answers away.
    bool readable = false;
    bool writable = false;
    TAVIX_CHECK(_pollLoopIf->sourceIsReadable(source, readable) == 0,
                "_pollLoopIf->sourceIsReadable(source, readable) == 0");
    TAVIX_CHECK(_pollLoopIf->sourceIsWritable(source, writable) == 0,
                "_pollLoopIf->sourceIsWritable(source, writable) == 0");
    if (std::shared_ptr<ProxyLink> link = currentLink())
        takeTurn(link, readable, writable);
}

void TavixProxy::takeTurn(std::shared_ptr<ProxyLink> const& link, bool readable, bool writable)
{
    LateThrow thrown;
    bool gone;
    {
        const ProxyFrame turn(*this, link);
        try {
            thrown.during([&] { sourceRead(link, turn, readable); });
        } catch (abi::__forced_unwind&) {
            ProxyFrame::flushAll();
            throw;
        }
        gone = turn.isForgotten();
    }
    if (!gone)
        endTurn(link, writable);
    thrown.rethrow();
}

// One read, and what it brings.
void TavixProxy::sourceRead(std::shared_ptr<ProxyLink> const& link, ProxyFrame const& turn, bool readable)
{
    const bool single = ProxyFrame::isWaitingIn(*this);
    if (!readable && (!link->connection.hasReadAhead() || (single && !std::exchange(link->passedOver, true))))
        return;
    link->passedOver = false;
    long begin = 0;
    do {
        SharedPtr<Message> message;
        if (link->connection.readData(&message) == -1) {
            connectionBroken(link);
            return;
        }
        if (!message.get())
            continue;
        if (link->connection.hasReadAhead()) {
            recall(*link);
            if (begin == 0)
                begin = clockTick();
        }
        handleReceivedMessage(message, link->id);
        if (single || turn.isForgotten())
            return;
    } while (link->connection.hasReadAhead() && !link->ended && _private->linkId == link->id &&
             clockTick() == begin);
}

// A socket that was full is tried again when the loop says that it takes more.
void TavixProxy::endTurn(std::shared_ptr<ProxyLink> const& link, bool writable)
{
    {
        Ferrule::Guard<std::mutex> guard(_private->writeLock);
        link->recalled = link->connection.hasReadAhead();
        if (!writable && (link->full || link->heldBack == 0)) {
            updateWriteWatch(*link, link->full || link->recalled);
            return;
        }
    }
    sourceWrite(link);
}

void TavixProxy::recall(ProxyLink& link)
{
    Ferrule::Guard<std::mutex> guard(_private->writeLock);
    link.recalled = true;
    updateWriteWatch(link, true);
}

// Under writeLock.
void TavixProxy::updateWriteWatch(ProxyLink& link, bool watched)
{
    if (!link.source || link.connection.isWatchedForWriting() == watched)
        return;
    link.connection.setWatchedForWriting(watched);
    if (watched)
        _pollLoopIf->sourceAddWatch(link.source, kWriteWatch);
    else
        _pollLoopIf->sourceRemoveWatch(link.source, kWriteWatch);
}

// For a message that has been queued.
void TavixProxy::sendQueued(std::shared_ptr<ProxyLink> const& link, unsigned size)
{
    if (!ProxyFrame::isTurnOf(*this, *link) || !holdBack(*link, size))
        sourceWrite(link);
}

// False when that has become too much.
bool TavixProxy::holdBack(ProxyLink& link, unsigned size)
{
    Ferrule::Guard<std::mutex> guard(_private->writeLock);
    link.recalled = true;
    updateWriteWatch(link, true);
    link.heldBack += std::max(size, kLeastCounted);
    return link.heldBack < kMostHeldBack;
}

void TavixProxy::sourceWrite()
{
    if (std::shared_ptr<ProxyLink> link = currentLink())
        sourceWrite(link);
}

void TavixProxy::sourceWrite(std::shared_ptr<ProxyLink> const& link)
{
    int unsent;
    {
        Ferrule::Guard<std::mutex> guard(_private->writeLock);
        if (!link->source)
            return; // torn down
        // 0 says that the queue was empty; what another thread queues from now on it pumps itself.
        link->connection.checkSendQueue();
        unsent = link->connection.writeMessages(kSendsPerTurn);
        link->heldBack = 0;
        link->full = unsent > 0;
        if (unsent >= 0)
            updateWriteWatch(*link, link->full || link->recalled);
    }
    if (unsent == -1)
        connectionBroken(link);
}

void TavixProxy::flush()
{
    sourceWrite();
}

// With no turn further out, a loop that calls back does so for what is left when the wait ends. With every tick of the
// clock the loop's other sources have their turn.
void TavixProxy::passInWait(long& tick)
{
    std::shared_ptr<ProxyLink> link = currentLink();
    if (link && link->connection.hasReadAhead()) {
        const long now = clockTick();
        const long last = std::exchange(tick, now);
        if (last == now || last == 0 || !_pollLoopIf->check()) {
            takeTurn(link, true, false);
            return;
        }
    }
    _pollLoopIf->iterate();
}

void TavixProxy::wait(Ferrule::Semaphore& sem)
{
    if (sem.tryWait())
        return;
    const ProxyFrame waiting(*this);
    for (long tick = 0; !sem.tryWait();)
        passInWait(tick);
}

void TavixProxy::wait(sem_t* sem)
{
    TAVIX_CHECK(sem != nullptr, "sem != __null");
    if (sem_trywait(sem) == 0)
        return;
    const ProxyFrame waiting(*this);
    for (long tick = 0; sem_trywait(sem) != 0;) {
        if (errno != EINTR)
            passInWait(tick);
    }
}

} // namespace Tavix
