#include "Options.h"

#include <CLI/CLI.hpp>

namespace Bench {

namespace {

const unsigned kLargestPayload = 196000; // the names around the value need the rest of a frame
const unsigned kMostObservers = 100;     // the bus takes 127 clients

} // namespace

bool parseOptions(int argc, char** argv, Options& options, int& exitCode)
{
    CLI::App app("Events from one sender to many observers through tavix-bus, side by side with a floor: "
                 "processes of our own that move the same frames with nothing but the system calls that any "
                 "broker needs. Then the same sender beside observers that never read.");
    addRunOptions(app, options, "events",
                  "bus, sender, observers, stuck, floor-bus, floor-sender, floor-observers");
    app.add_option("--sizes", options.sizes, "Bytes of an event's value, one row each")
        ->delimiter(',')
        ->check(CLI::Range(0u, kLargestPayload));
    app.add_option("--observers", options.observers, "Observers, one row each")
        ->delimiter(',')
        ->check(CLI::Range(1u, kMostObservers));
    app.add_option("--stuck", options.stuck, "Observers that never read, one row each; 0 leaves them out")
        ->delimiter(',')
        ->check(CLI::Range(0u, 16u));
    app.add_option("--readers", options.readers, "Observers that read, beside those that never do")
        ->check(CLI::Range(1u, kMostObservers));
    app.add_option("--window", options.window, "Events in flight")->check(CLI::Range(1u, 10000u));
    app.add_option("--queue-mib", options.queueMegabytes,
                   "MiB that may wait for an observer that never reads")
        ->check(CLI::Range(1u, 1024u));
    return parseArguments(app, argc, argv, exitCode);
}

} // namespace Bench
