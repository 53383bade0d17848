#ifndef TAVIX_BENCH_CALLS_CONTROL_H
#define TAVIX_BENCH_CALLS_CONTROL_H

#include <cstdint>
#include <functional>
#include <vector>

namespace Bench {

// What the parent tells a caller process, and what comes back, over one socket pair.
struct Command {
    std::uint32_t payload; // index into Options::sizes
    std::uint32_t outstanding;
    std::uint32_t calls;
};

struct Outcome {
    double
        microseconds; // one call: the median round trip, or with several in flight the block's time by call
    double seconds;   // the whole block
};

// Runs every command that comes until the parent closes its end. run answers the time of each round trip in
// microseconds, or nothing when several calls were in flight.
int serveCommands(int control, std::function<std::vector<float>(Command const&)> const& run);

// Tells the parent that this process can be used.
void reportReady(int control);

double nowMicroseconds();
double median(std::vector<float> values);

} // namespace Bench

#endif
