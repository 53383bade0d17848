#ifndef TAVIX_BENCH_PEERS_OPTIONS_H
#define TAVIX_BENCH_PEERS_OPTIONS_H

#include "common/CallClients.h"

namespace Bench {

// What the command line says.
struct Options : RunOptions {
    Options() { sizes = {16, 1024, 65536, 190 * 1024}; }

    std::vector<std::string> rows{"calls", "events"};
    std::vector<std::string> peers{"tavix", "zeromq", "dbus-broker", "dbus-daemon"};
    std::vector<unsigned> outstanding{1, 64};
    std::vector<unsigned> eventSizes{16, 1024, 65536};
    std::vector<unsigned> observers{1, 10, 100};
    std::string picture; // the file to write it to; empty: none
    CallStyle style;     // its default
};

// The same for the rows of events: their sizes, and always as a batch, as in bench_events.
Options eventOptions(Options const& options);

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
