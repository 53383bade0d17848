#ifndef TAVIX_BENCH_COMMON_BLOCKS_H
#define TAVIX_BENCH_COMMON_BLOCKS_H

#include "common/System.h"

#include <vector>

namespace Bench {

// Medians over the blocks of one system, in microseconds per call or event.
struct Medians {
    double time = 0;
    std::vector<double> cpu; // of each part
};

// Warms the systems up, and finds how many calls or events fill a block of the slowest one: a multiple of unit.
unsigned chooseCount(RunOptions const& options, std::vector<System*> const& systems, Command command,
                     unsigned unit = 1);

unsigned roundedUp(unsigned count, unsigned unit);

// Runs the blocks of all systems in turn.
std::vector<Medians> measureBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                   Command const& command);

} // namespace Bench

#endif
