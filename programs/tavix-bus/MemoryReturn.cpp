#include "tavix-bus/MemoryReturn.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <malloc.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

// Tidying is worth its while when the process has grown by more than this.
const int kGrownFar = 16 * 1024 * 1024;

// Tidying takes long where a queue of small messages has just been freed, 0.2 to 0.4 s for two million, and nobody is
// served meanwhile. Then the next look comes later: one part in so many of the time is spent on it, but nothing stays
// for longer than the longest pause.
const long kShare = 50;
const long kLongestPause = 5; // seconds

// Pages; 0 when it cannot be told.
long residentPages()
{
    long pages = 0;
    FILE* file = std::fopen("/proc/self/statm", "re");
    if (!file)
        return 0;
    if (std::fscanf(file, "%*s %ld", &pages) != 1)
        pages = 0;
    std::fclose(file);
    return pages;
}

} // namespace

MemoryReturn::~MemoryReturn()
{
    if (_source) {
        _loop->removeSource(_source);
        _loop->deleteSource(_source);
    }
    if (_timer >= 0)
        close(_timer);
}

void MemoryReturn::watch(SharedPtr<Tavix::PollLoopIf> const& loop)
{
    _loop = loop;
    // In between malloc keeps what is free: large frames would find the memory gone, and take it anew page by page.
    mallopt(M_MMAP_THRESHOLD, kGrownFar);
    mallopt(M_TRIM_THRESHOLD, 2 * kGrownFar);
    _atStart = residentPages();
    _timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    if (_timer < 0 || _loop->newSource(_timer, &_source) != 0)
        return;
    _loop->sourceAddWatch(_source, Tavix::kReadWatch);
    if (_loop->addSource(_source, callback, this) == 0) {
        _waiting = false;
        return;
    }
    _loop->deleteSource(_source);
    _source = nullptr;
}

void MemoryReturn::callback(void**, void* memory)
{
    auto* self = static_cast<MemoryReturn*>(memory);
    std::uint64_t times;
    self->_due = read(self->_timer, &times, sizeof times) == sizeof times;
}

void MemoryReturn::wait()
{
    const itimerspec once{{0, 0}, {_pause, 0}};
    _waiting = timerfd_settime(_timer, 0, &once, nullptr) == 0;
}

// Behind the whole pass, so that what else it has freed is counted in.
void MemoryReturn::look()
{
    _due = _waiting = false;
    _pause = 1;
    if ((residentPages() - _atStart) * sysconf(_SC_PAGESIZE) < kGrownFar)
        return;
    const auto start = std::chrono::steady_clock::now();
    malloc_trim(0);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    _pause = std::clamp(static_cast<long>(took.count() * kShare), 1L, kLongestPause);
}
