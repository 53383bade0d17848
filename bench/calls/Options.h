#ifndef TAVIX_BENCH_CALLS_OPTIONS_H
#define TAVIX_BENCH_CALLS_OPTIONS_H

#include "common/CallClients.h"

namespace Bench {

// What the command line says.
struct Options : RunOptions {
    Options() { sizes = {16, 1024, 65536, 190 * 1024}; }

    std::vector<unsigned> outstanding{1, 64};
    CallStyle style;
};

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
