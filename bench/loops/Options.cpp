#include "Options.h"

#include <CLI/CLI.hpp>

namespace Bench {

namespace {

const unsigned kLargestPayload = 196000; // the names around the value need the rest of a frame
const unsigned kMostConnections = 100;   // the bus takes 127 clients

} // namespace

bool parseOptions(int argc, char** argv, Options& options, int& exitCode)
{
    CLI::App app(
        "Calls and events through tavix-bus on each of its loops, side by side, with few and with many "
        "connections, and what connections cost that nothing happens on.");
    addRunOptions(app, options, "calls", "bus, caller, owner, idle, sender, observers");
    for (char const* ofOtherPrograms : {"--loop", "--floor-wait"})
        app.get_option(ofOtherPrograms)->group("");
    app.add_option("--loops", options.loops, "The broker's loops; the others are compared with the first")
        ->delimiter(',')
        ->check(CLI::IsMember({"select", "epoll", "glib"}));
    app.add_option("--client-loop", options.clientLoop, "What all clients run on")
        ->check(CLI::IsMember({"select", "epoll", "glib"}));
    app.add_option("--sizes", options.sizes,
                   "Bytes of an event's value, one row each; calls are of the first")
        ->delimiter(',')
        ->check(CLI::Range(0u, kLargestPayload));
    app.add_option("--observers", options.observers, "Observers, one row each")
        ->delimiter(',')
        ->check(CLI::Range(1u, kMostConnections));
    app.add_option("--idle", options.idle, "Idle connections beside one caller and its owner")
        ->check(CLI::Range(1u, kMostConnections));
    app.add_option("--pairs", options.pairs, "Callers, each with an owner of its own and one call in flight")
        ->check(CLI::Range(1u, kMostConnections / 2));
    app.add_option("--window", options.window, "Events in flight")->check(CLI::Range(1u, 10000u));
    return parseArguments(app, argc, argv, exitCode);
}

} // namespace Bench
