#include "common/Control.h"

#include <algorithm>
#include <ctime>
#include <unistd.h>

namespace Bench {

int serveCommands(int control, std::function<std::vector<float>(Command const&)> const& run)
{
    reportReady(control);
    Command command;
    while (read(control, &command, sizeof command) == static_cast<ssize_t>(sizeof command)) {
        const double start = nowMicroseconds();
        const std::vector<float> trips = run(command);
        const double elapsed = nowMicroseconds() - start;
        Outcome outcome{trips.empty() ? elapsed / command.count : median(trips), elapsed / 1e6};
        if (write(control, &outcome, sizeof outcome) != static_cast<ssize_t>(sizeof outcome))
            return 1;
    }
    return 0;
}

void reportReady(int control)
{
    const char ready = 'R';
    if (write(control, &ready, 1) != 1)
        _exit(1);
}

int standStill(int control)
{
    reportReady(control);
    char end;
    return read(control, &end, 1) == 0 ? 0 : 1;
}

double nowMicroseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double median(std::vector<float> values)
{
    if (values.empty())
        return 0;
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace Bench
