#include "tavixctl/Deadline.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

Deadline::Deadline(double seconds, SharedPtr<Tavix::PollLoopIf> const& loop) : _loop(loop)
{
    if (seconds <= 0)
        return;
    itimerspec time{};
    time.it_value.tv_sec = static_cast<time_t>(seconds);
    time.it_value.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.it_value.tv_sec)) * 1e9);
    _fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    timerfd_settime(_fd, 0, &time, nullptr);
    // It is never read, so it stays ready: a wait that begins behind the deadline ends at once.
    auto wake = [](void**, void*) {};
    if (_fd >= 0 && _loop->newSource(_fd, &_source) == 0) {
        _loop->sourceAddWatch(_source, Tavix::kReadWatch);
        _loop->addSource(_source, wake, nullptr);
    }
}

Deadline::~Deadline()
{
    if (_source) {
        _loop->removeSource(_source);
        _loop->deleteSource(_source);
    }
    if (_fd >= 0)
        close(_fd);
}

bool Deadline::expired() const
{
    pollfd timer{_fd, POLLIN, 0};
    return _fd >= 0 && poll(&timer, 1, 0) > 0;
}

Deadline::Interrupt::Interrupt(Deadline const& deadline)
{
    itimerspec left{};
    if (deadline._fd < 0 || timerfd_gettime(deadline._fd, &left) != 0)
        return;
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    // Repeated: the first signal may come just before the system call that would block.
    itimerval alarm{};
    alarm.it_value.tv_sec = left.it_value.tv_sec;
    alarm.it_value.tv_usec = std::max(left.it_value.tv_nsec / 1000, 1L);
    alarm.it_interval.tv_usec = 20000;
    setitimer(ITIMER_REAL, &alarm, nullptr);
}

Deadline::Interrupt::~Interrupt()
{
    itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
}
