// The watches of the loop over epoll, and how the kernel learns of them.
//
// A callback may add a watch before it runs what iterates within it, and take it away again at its end. So
// what the thread that calls back changes is only noted: it cannot matter before a thread waits in epoll_wait
// or asks `check`, and each of them first tells the kernel what is noted (`_tellChanges`). What has been undone
// by then is not told. A change is told at once
//
// - while any thread is on its way through epoll_wait, as it may have to end that wait. So nothing is noted
//   while `_collecting` is above 0;
// - by a thread that is not inside a pass, as the loop may wait next at any time, or not at all.
//
// What the kernel knows includes whether it reports edges only. So a source that rests after a hang-up, and whose
// watches have changed and are the same again, is told of: the kernel looks at the descriptor once more and
// reports what stands. One without watches, before and after, need not be: it hears of nothing.
#include "tavix/EpollLoopGlueInternal.h"

#include <cerrno>
#include <cstdio>

namespace Tavix {

namespace {

unsigned watchToEvents(unsigned watch)
{
    return (watch & kReadWatch ? EPOLLIN : 0u) | (watch & kWriteWatch ? EPOLLOUT : 0u);
}

} // namespace

int EpollLoopGlue::sourceAddWatch(void** source, unsigned watch)
{
    return sourceEpollUpdate(source, watchToEvents(watch), 0);
}

int EpollLoopGlue::sourceRemoveWatch(void** source, unsigned watch)
{
    return sourceEpollUpdate(source, 0, watchToEvents(watch));
}

int EpollLoopGlue::sourceEpollUpdate(void** source, unsigned add, unsigned remove)
{
    EpollDescriptorInfo* info = EpollDescriptorInfo::of(source);
    Ferrule::Guard<std::mutex> guard(_lock);
    const unsigned events = (info->event.events | add) & ~remove;
    if (events == info->event.events)
        return 0;
    info->event.events = events;
    info->onEdge = events == 0;
    if (!info->added)
        return 0;
    if (_collecting == 0 && _dispatcher.load(std::memory_order_relaxed) == pthread_self()) {
        _note(*info);
        return 0;
    }
    return _change(*info);
}

// All below are called with the lock held.
int EpollLoopGlue::_control(int operation, EpollDescriptorInfo& info)
{
    _forget(info);
    epoll_event event = info.event;
    event.events = info.told = info.wanted();
    return epoll_ctl(_epollFd, operation, info.fd, &event);
}

int EpollLoopGlue::_change(EpollDescriptorInfo& info)
{
    if (_control(EPOLL_CTL_MOD, info) == 0)
        return 0;
    const int error = errno;
    perror("epoll_ctl mod");
    return -error;
}

// In the order of the changes, in which the kernel reports what is ready.
void EpollLoopGlue::_note(EpollDescriptorInfo& info)
{
    if (info.noted)
        return;
    info.noted = true;
    info.previousNoted = _lastNoted;
    info.nextNoted = nullptr;
    (_lastNoted ? _lastNoted->nextNoted : _firstNoted) = &info;
    _lastNoted = &info;
}

void EpollLoopGlue::_forget(EpollDescriptorInfo& info)
{
    if (!info.noted)
        return;
    info.noted = false;
    (info.previousNoted ? info.previousNoted->nextNoted : _firstNoted) = info.nextNoted;
    (info.nextNoted ? info.nextNoted->previousNoted : _lastNoted) = info.previousNoted;
}

void EpollLoopGlue::_tellChanges()
{
    while (EpollDescriptorInfo* info = _firstNoted) {
        if (info->wanted() != info->told)
            _change(*info);
        else
            _forget(*info);
    }
}

} // namespace Tavix
