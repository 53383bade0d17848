#include "common/Waiter.h"

#include <algorithm>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>
#include <vector>

namespace Bench {

namespace {

class PollWaiter : public Waiter {
public:
    void add(unsigned slot, int fd) override
    {
        _fds.resize(slot + 1);
        _fds[slot] = pollfd{fd, POLLIN, 0};
    }

    void watch(unsigned slot, unsigned events) override
    {
        _fds[slot].events =
            static_cast<short>((events & kReadable ? POLLIN : 0) | (events & kWritable ? POLLOUT : 0));
    }

    void wait() override { poll(_fds.data(), _fds.size(), -1); }

    unsigned ready(unsigned slot) const override
    {
        const short found = _fds[slot].revents;
        return (found & (POLLIN | POLLHUP | POLLERR) ? kReadable : 0) | (found & POLLOUT ? kWritable : 0);
    }

private:
    std::vector<pollfd> _fds;
};

class EpollWaiter : public Waiter {
public:
    ~EpollWaiter() override { close(_epoll); }

    void add(unsigned slot, int fd) override
    {
        _slots.resize(slot + 1);
        _events.resize(slot + 1);
        _slots[slot] = Slot{fd, kReadable, kNothing};
        control(EPOLL_CTL_ADD, slot);
    }

    void watch(unsigned slot, unsigned events) override
    {
        if (_slots[slot].watched == events)
            return;
        _slots[slot].watched = events;
        control(EPOLL_CTL_MOD, slot);
    }

    void wait() override
    {
        for (int i = 0; i < _count; ++i)
            _slots[_events[i].data.u32].found = kNothing;
        _count = std::max(epoll_wait(_epoll, _events.data(), static_cast<int>(_events.size()), -1), 0);
        for (int i = 0; i < _count; ++i)
            _slots[_events[i].data.u32].found =
                (_events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR) ? kReadable : 0) |
                (_events[i].events & EPOLLOUT ? kWritable : 0);
    }

    unsigned ready(unsigned slot) const override { return _slots[slot].found; }

private:
    void control(int operation, unsigned slot)
    {
        epoll_event event{};
        event.events = (_slots[slot].watched & kReadable ? +EPOLLIN : 0) |
                       (_slots[slot].watched & kWritable ? +EPOLLOUT : 0);
        event.data.u32 = slot;
        epoll_ctl(_epoll, operation, _slots[slot].fd, &event);
    }

    struct Slot {
        int fd;
        unsigned watched;
        unsigned found;
    };

    int _epoll = epoll_create1(EPOLL_CLOEXEC);
    std::vector<Slot> _slots;
    std::vector<epoll_event> _events; // of the last wait: the first _count
    int _count = 0;
};

class SelectWaiter : public Waiter {
public:
    SelectWaiter()
    {
        FD_ZERO(&_readWatch);
        FD_ZERO(&_writeWatch);
    }

    void add(unsigned slot, int fd) override
    {
        _fds.resize(slot + 1);
        _fds[slot] = fd;
        _highest = std::max(_highest, fd);
        FD_SET(fd, &_readWatch);
    }

    void watch(unsigned slot, unsigned events) override
    {
        _writeWatches -= FD_ISSET(_fds[slot], &_writeWatch);
        FD_CLR(_fds[slot], &_readWatch);
        FD_CLR(_fds[slot], &_writeWatch);
        if (events & kReadable)
            FD_SET(_fds[slot], &_readWatch);
        if (events & kWritable)
            FD_SET(_fds[slot], &_writeWatch);
        _writeWatches += FD_ISSET(_fds[slot], &_writeWatch);
    }

    void wait() override
    {
        _read = _readWatch;
        _write = _writeWatch; // stays empty for a null set
        select(_highest + 1, &_read, _writeWatches > 0 ? &_write : nullptr, nullptr, nullptr);
    }

    unsigned ready(unsigned slot) const override
    {
        return (FD_ISSET(_fds[slot], &_read) ? kReadable : 0) |
               (FD_ISSET(_fds[slot], &_write) ? kWritable : 0);
    }

private:
    std::vector<int> _fds;
    int _highest = -1;
    int _writeWatches = 0; // with none, a null set spares the kernel copying it
    fd_set _readWatch;
    fd_set _writeWatch;
    fd_set _read;
    fd_set _write;
};

} // namespace

std::unique_ptr<Waiter> Waiter::make(std::string const& kind)
{
    if (kind == "epoll")
        return std::make_unique<EpollWaiter>();
    if (kind == "select")
        return std::make_unique<SelectWaiter>();
    return std::make_unique<PollWaiter>();
}

} // namespace Bench
