#include "LoadTicker.h"

#include "MachineFacts.h"

#include <cstdint>
#include <memory>
#include <sys/timerfd.h>
#include <unistd.h>

using namespace Tavix;

LoadTicker::LoadTicker(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy)
    : _loop(loop), _proxy(proxy), _timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    if (_timer < 0)
        return;
    _loop->newSource(_timer, &_source);
    _loop->sourceAddWatch(_source, kReadWatch);
    _loop->addSource(_source, tick, this);
}

LoadTicker::~LoadTicker()
{
    if (_timer < 0)
        return;
    _loop->removeSource(_source);
    _loop->deleteSource(_source);
    close(_timer);
}

bool LoadTicker::start()
{
    if (!_ticking)
        _ticking = set(1, 1);
    return _ticking;
}

void LoadTicker::stop()
{
    set(0, 0);
    _ticking = false;
}

// After so many nanoseconds, and then at every interval; 0 and 0 stop it.
bool LoadTicker::set(long first, int seconds)
{
    const itimerspec times{{seconds, 0}, {0, first}};
    return timerfd_settime(_timer, 0, &times, nullptr) == 0;
}

void LoadTicker::tick(void**, void* ticker)
{
    auto* self = static_cast<LoadTicker*>(ticker);
    std::uint64_t expirations; // of a service that was kept busy more than one, and still one event
    if (read(self->_timer, &expirations, sizeof expirations) != sizeof expirations)
        return; // stopped in between
    std::unique_ptr<Element> load(readLoad());
    self->_proxy.sendEvent("machine", "load", load.get());
}
