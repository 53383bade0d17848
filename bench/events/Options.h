#ifndef TAVIX_BENCH_EVENTS_OPTIONS_H
#define TAVIX_BENCH_EVENTS_OPTIONS_H

#include "common/RunOptions.h"

namespace Bench {

// What the command line says.
struct Options : RunOptions {
    // Otherwise the scheduler decides how many events a process finds when it runs, and a small difference
    // between the two systems turns into a large one.
    Options()
    {
        batch = true;
        sizes = {16, 1024, 65536};
    }

    std::vector<unsigned> observers{1, 10, 100};
    std::vector<unsigned> stuck{1, 4}; // observers that never read; 0 or nothing leaves that part out
    unsigned readers = 10;             // observers beside the stuck ones
    unsigned queueMegabytes = 48;      // what may wait for a stuck observer, about
};

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
