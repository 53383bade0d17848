#include "tavix-bus/StopSignals.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

StopSignals::StopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    _fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

StopSignals::~StopSignals()
{
    if (_source) {
        _loop->removeSource(_source);
        _loop->deleteSource(_source);
    }
    if (_fd >= 0)
        close(_fd);
}

bool StopSignals::watch(SharedPtr<Tavix::PollLoopIf> const& loop)
{
    _loop = loop;
    if (_fd < 0 || _loop->newSource(_fd, &_source) != 0)
        return false;
    _loop->sourceAddWatch(_source, Tavix::kReadWatch);
    if (_loop->addSource(_source, callback, this) == 0)
        return true;
    _loop->deleteSource(_source);
    _source = nullptr;
    return false;
}

void StopSignals::callback(void**, void* signals)
{
    auto* self = static_cast<StopSignals*>(signals);
    signalfd_siginfo info;
    if (read(self->_fd, &info, sizeof info) == sizeof info)
        self->_received = true;
}
