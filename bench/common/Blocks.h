#ifndef TAVIX_BENCH_COMMON_BLOCKS_H
#define TAVIX_BENCH_COMMON_BLOCKS_H

#include "common/System.h"

#include <vector>

namespace Bench {

// Medians over the blocks of one system, in microseconds per call or event.
struct Medians {
    double time = 0;
    std::vector<double> cpu; // of each part
    // Of all together: with all on one CPU, the time per call or event when nothing else runs there.
    double allCpu = 0;
};

// Warms the systems up, and finds how many calls or events fill a block of the slowest one: a multiple of unit. By
// CPU time, so that blocks do not shrink when other programs share the CPU.
unsigned chooseCount(RunOptions const& options, std::vector<System*> const& systems, Command command,
                     unsigned unit = 1);

unsigned roundedUp(unsigned count, unsigned unit);

// What each block of one system took, in microseconds per call or event.
struct Samples {
    std::vector<float> time;
    std::vector<std::vector<float>> cpu; // of each part

    std::vector<float> allCpu() const;
    Medians medians() const;
};

// Runs the blocks of all systems in turn.
std::vector<Samples> sampleBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                  Command const& command);
std::vector<Medians> measureBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                   Command const& command);

// The median of the ratios of blocks that stood beside each other.
double medianRatio(std::vector<float> const& values, std::vector<float> const& bases);

} // namespace Bench

#endif
