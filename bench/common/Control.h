#ifndef TAVIX_BENCH_COMMON_CONTROL_H
#define TAVIX_BENCH_COMMON_CONTROL_H

#include <cstdint>
#include <functional>
#include <vector>

namespace Bench {

// What the parent tells the process that drives a system, and what comes back, over one socket pair.
struct Command {
    std::uint32_t payload;     // index into the sizes
    std::uint32_t outstanding; // calls of each caller, or events, in flight
    std::uint32_t count;       // calls or events of the block
};

struct Outcome {
    // One call or event: the median round trip, or with several in flight the block's time by count.
    double microseconds;
    double seconds; // the whole block
};

// Tells the parent that this process can be used.
void reportReady(int control);

// Does that, and runs every command that comes until the parent closes its end. run answers the time of each round
// trip in microseconds, or nothing when several were in flight.
int serveCommands(int control, std::function<std::vector<float>(Command const&)> const& run);

// Tells the parent and does nothing until it has closed its end. Answers the exit status.
int standStill(int control);

// Tells the parent, and passes without end: the processes of the floor end with their sockets.
template <class Passing>
int passForEver(int control, Passing const& pass)
{
    reportReady(control);
    for (;;)
        pass();
}

double nowMicroseconds();
double median(std::vector<float> values);

} // namespace Bench

#endif
