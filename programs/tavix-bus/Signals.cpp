#include "tavix-bus/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

Signals::Signals(std::initializer_list<int> numbers)
{
    sigset_t set;
    sigemptyset(&set);
    for (int number : numbers)
        sigaddset(&set, number);
    sigprocmask(SIG_BLOCK, &set, &_oldMask);
    _fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);

    struct sigaction action {};
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, &_oldPipe);
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, &_oldChild);
}

Signals::~Signals()
{
    if (_source) {
        _loop->removeSource(_source);
        _loop->deleteSource(_source);
    }
    if (_fd >= 0)
        close(_fd);
}

bool Signals::watch(SharedPtr<Tavix::PollLoopIf> const& loop, Handler handler)
{
    _loop = loop;
    _handler = std::move(handler);
    if (_fd < 0 || _loop->newSource(_fd, &_source) != 0)
        return false;
    _loop->sourceAddWatch(_source, Tavix::kReadWatch);
    if (_loop->addSource(_source, callback, this) == 0)
        return true;
    _loop->deleteSource(_source);
    _source = nullptr;
    return false;
}

void Signals::restore() const
{
    sigaction(SIGPIPE, &_oldPipe, nullptr);
    sigaction(SIGCHLD, &_oldChild, nullptr);
    sigprocmask(SIG_SETMASK, &_oldMask, nullptr);
}

void Signals::callback(void**, void* signals)
{
    auto* self = static_cast<Signals*>(signals);
    signalfd_siginfo info;
    if (read(self->_fd, &info, sizeof info) == sizeof info)
        self->_handler({static_cast<int>(info.ssi_signo), info.ssi_code == SI_KERNEL});
}
