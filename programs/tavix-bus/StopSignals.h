#ifndef TAVIX_PROGRAMS_TAVIX_BUS_STOPSIGNALS_H
#define TAVIX_PROGRAMS_TAVIX_BUS_STOPSIGNALS_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

// SIGTERM and SIGINT as readiness of a descriptor on the loop: no handler interrupts anything. From the
// construction on the two signals are blocked; one that came before watch() is not lost.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(StopSignals const&) = delete;
    StopSignals& operator=(StopSignals const&) = delete;

    // Shares the loop. False when the system has no descriptor left.
    bool watch(SharedPtr<Tavix::PollLoopIf> const& loop);

    bool received() const { return _received; }

private:
    static void callback(void** source, void* signals);

    SharedPtr<Tavix::PollLoopIf> _loop;
    int _fd;
    void** _source = nullptr;
    bool _received = false;
};

#endif
