#include "tavixctl/Interruption.h"

#include <csignal>
#include <initializer_list>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

int blockAndWatchSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

// The loop's select cannot ask for errors alone, and a terminal's input or a file would be readable. An epoll
// set can: errors and hang-ups are always reported. It refuses regular files.
Interruption::Interruption(int output, SharedPtr<Tavix::PollLoopIf> const& loop)
    : _loop(loop), _signals(blockAndWatchSignals()), _fd(epoll_create1(EPOLL_CLOEXEC))
{
    epoll_event readable{};
    readable.events = EPOLLIN;
    epoll_ctl(_fd, EPOLL_CTL_ADD, _signals, &readable);
    epoll_event gone{};
    epoll_ctl(_fd, EPOLL_CTL_ADD, output, &gone);
    // Nothing is taken out, so it stays ready and ends every wait of the loop.
    auto wake = [](void**, void*) {};
    if (_fd >= 0 && _loop->newSource(_fd, &_source) == 0) {
        _loop->sourceAddWatch(_source, Tavix::kReadWatch);
        _loop->addSource(_source, wake, nullptr);
    }
}

Interruption::~Interruption()
{
    if (_source) {
        _loop->removeSource(_source);
        _loop->deleteSource(_source);
    }
    for (int fd : {_fd, _signals})
        if (fd >= 0)
            close(fd);
}

bool Interruption::happened() const
{
    pollfd set{_fd, POLLIN, 0};
    return poll(&set, 1, 0) > 0;
}
