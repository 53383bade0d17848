#ifndef TAVIX_INTERVALTIMER_H
#define TAVIX_INTERVALTIMER_H

#include <tavix/foundation/Export.h>

#include <cstdint>
#include <sys/time.h>

// Measures wall-clock time in microseconds, from its construction on. The result wraps after some 35 minutes.
// For one thread at a time.
class TAVIX_API IntervalTimer {
public:
    IntervalTimer();

    // Measures anew from now.
    void start();

    // Microseconds since the start; with `reset` the next measurement begins here. After stop(): what it
    // measured.
    std::int32_t getDelta(bool reset);
    std::int32_t getDelta();

    // Ends the measurement and answers it.
    std::int32_t stop();

private:
    timeval _start;
    bool _running;
    std::int32_t _stoppedDelta; // -1 while running
};

#endif
