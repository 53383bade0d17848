#ifndef TAVIX_EXAMPLES_MACHINE_LOADTICKER_H
#define TAVIX_EXAMPLES_MACHINE_LOADTICKER_H

#include <tavix/tavix.h>

// Sends the event "load" of the object "machine" once a second: a timer (timerfd_create(2)) in the loop.
class LoadTicker {
public:
    // Shares the loop. Lends proxy.
    LoadTicker(SharedPtr<Tavix::PollLoopIf> const& loop, Tavix::TavixProxy& proxy);
    ~LoadTicker();
    LoadTicker(LoadTicker const&) = delete;
    LoadTicker& operator=(LoadTicker const&) = delete;

    // The first event comes at once, from the loop. Nothing changes when it ticks already. False when there
    // is no timer.
    bool start();
    void stop();

private:
    static void tick(void** source, void* ticker);
    bool set(long first, int seconds);

    SharedPtr<Tavix::PollLoopIf> _loop;
    Tavix::TavixProxy& _proxy;
    const int _timer;
    void** _source = nullptr;
    bool _ticking = false;
};

#endif
