#ifndef TAVIX_BENCH_LOOPS_OPTIONS_H
#define TAVIX_BENCH_LOOPS_OPTIONS_H

#include "common/RunOptions.h"

namespace Bench {

// What the command line says.
struct Options : RunOptions {
    // As a batch for the reason that bench_events has. Clients on epoll, so that what a broker's loop costs is not
    // lost in what theirs does.
    Options()
    {
        batch = true;
        sizes = {16, 1024};
        clientLoop = "epoll";
    }

    std::vector<std::string> loops{"epoll", "select",
                                   "glib"}; // the first is what the others are compared with
    std::vector<unsigned> observers{1, 100};
    unsigned idle = 100; // connections that nothing happens on
    unsigned pairs = 50; // of caller and owner, with one call in flight each
};

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
