#include "Waiter.h"

#include <algorithm>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

namespace Bench {

namespace {

const unsigned kSlots = 2;

class PollWaiter : public Waiter {
public:
    void add(unsigned slot, int fd) override
    {
        _fds[slot] = pollfd{fd, POLLIN, 0};
        _count = std::max(_count, slot + 1);
    }

    void watch(unsigned slot, unsigned events) override
    {
        _fds[slot].events =
            static_cast<short>((events & kReadable ? POLLIN : 0) | (events & kWritable ? POLLOUT : 0));
    }

    void wait() override { poll(_fds, _count, -1); }

    unsigned ready(unsigned slot) const override
    {
        const short found = _fds[slot].revents;
        return (found & (POLLIN | POLLHUP | POLLERR) ? kReadable : 0) | (found & POLLOUT ? kWritable : 0);
    }

private:
    pollfd _fds[kSlots] = {};
    unsigned _count = 0;
};

class EpollWaiter : public Waiter {
public:
    ~EpollWaiter() override { close(_epoll); }

    void add(unsigned slot, int fd) override
    {
        _fds[slot] = fd;
        _watched[slot] = kReadable;
        control(EPOLL_CTL_ADD, slot);
    }

    void watch(unsigned slot, unsigned events) override
    {
        if (_watched[slot] == events)
            return;
        _watched[slot] = events;
        control(EPOLL_CTL_MOD, slot);
    }

    void wait() override
    {
        epoll_event events[kSlots];
        const int count = epoll_wait(_epoll, events, kSlots, -1);
        for (unsigned& found : _found)
            found = kNothing;
        for (int i = 0; i < count; ++i)
            _found[events[i].data.u32] =
                (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR) ? kReadable : 0) |
                (events[i].events & EPOLLOUT ? kWritable : 0);
    }

    unsigned ready(unsigned slot) const override { return _found[slot]; }

private:
    void control(int operation, unsigned slot)
    {
        epoll_event event{};
        event.events =
            (_watched[slot] & kReadable ? +EPOLLIN : 0) | (_watched[slot] & kWritable ? +EPOLLOUT : 0);
        event.data.u32 = slot;
        epoll_ctl(_epoll, operation, _fds[slot], &event);
    }

    int _epoll = epoll_create1(EPOLL_CLOEXEC);
    int _fds[kSlots] = {};
    unsigned _watched[kSlots] = {};
    unsigned _found[kSlots] = {};
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
        _fds[slot] = fd;
        _highest = std::max(_highest, fd);
        FD_SET(fd, &_readWatch);
    }

    void watch(unsigned slot, unsigned events) override
    {
        FD_CLR(_fds[slot], &_readWatch);
        FD_CLR(_fds[slot], &_writeWatch);
        if (events & kReadable)
            FD_SET(_fds[slot], &_readWatch);
        if (events & kWritable)
            FD_SET(_fds[slot], &_writeWatch);
        _anyWrite = FD_ISSET(_fds[0], &_writeWatch) || FD_ISSET(_fds[1], &_writeWatch);
    }

    void wait() override
    {
        _read = _readWatch;
        _write = _writeWatch;
        select(_highest + 1, &_read, _anyWrite ? &_write : nullptr, nullptr, nullptr);
    }

    unsigned ready(unsigned slot) const override
    {
        return (FD_ISSET(_fds[slot], &_read) ? kReadable : 0) |
               (FD_ISSET(_fds[slot], &_write) ? kWritable : 0);
    }

private:
    int _fds[kSlots] = {};
    int _highest = -1;
    bool _anyWrite = false; // a null set spares the kernel copying it
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
