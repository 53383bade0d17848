#include "tavix/IntervalTimer.h"

IntervalTimer::IntervalTimer()
{
    start();
}

void IntervalTimer::start()
{
    _running = true;
    _stoppedDelta = -1;
    gettimeofday(&_start, nullptr);
}

std::int32_t IntervalTimer::getDelta(bool reset)
{
    if (!_running)
        return _stoppedDelta;
    timeval now;
    gettimeofday(&now, nullptr);
    std::int64_t const seconds = now.tv_sec - _start.tv_sec;
    std::int64_t const delta = seconds * 1000000 + (now.tv_usec - _start.tv_usec);
    if (reset)
        _start = now;
    return static_cast<std::int32_t>(delta);
}

std::int32_t IntervalTimer::getDelta()
{
    return getDelta(false);
}

std::int32_t IntervalTimer::stop()
{
    _stoppedDelta = getDelta();
    _running = false;
    return _stoppedDelta;
}
