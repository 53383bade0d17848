#include "Options.h"

#include <CLI/CLI.hpp>

namespace Bench {

namespace {

const unsigned kLargestPayload = 196000; // the names around it need the rest of a frame of tavix
const unsigned kMostObservers = 100;     // the bus takes 127 clients

void addRows(CLI::App& app, Options& options)
{
    app.add_option("--rows", options.rows, "What to measure: calls, events")
        ->delimiter(',')
        ->check(CLI::IsMember({"calls", "events"}));
    app.add_option("--peers", options.peers, "Beside the floor: tavix, zeromq, dbus-broker, dbus-daemon")
        ->delimiter(',')
        ->check(CLI::IsMember({"tavix", "zeromq", "dbus-broker", "dbus-daemon"}));
    app.add_option("--sizes", options.sizes, "Bytes of a call's argument, one row each")
        ->delimiter(',')
        ->check(CLI::Range(1u, kLargestPayload));
    app.add_option("--outstanding", options.outstanding, "Calls in flight; 1 is a synchronous call")
        ->delimiter(',')
        ->check(CLI::Range(1u, 10000u));
    app.add_option("--event-sizes", options.eventSizes, "Bytes of an event's value, one row each")
        ->delimiter(',')
        ->check(CLI::Range(1u, kLargestPayload));
    app.add_option("--observers", options.observers, "Observers, one row each")
        ->delimiter(',')
        ->check(CLI::Range(1u, kMostObservers));
    app.add_option("--window", options.window, "Events in flight")->check(CLI::Range(1u, 1000u));
}

} // namespace

Options eventOptions(Options const& options)
{
    Options ofEvents = options;
    ofEvents.sizes = options.eventSizes;
    ofEvents.batch = true;
    return ofEvents;
}

bool parseOptions(int argc, char** argv, Options& options, int& exitCode)
{
    CLI::App app(
        "Calls and events through tavix-bus, ZeroMQ and D-Bus, side by side with a floor: processes "
        "of our own that move the frames of tavix with nothing but the system calls that a broker of "
        "one frame at a time needs.");
    addRunOptions(app, options, "messages",
                  "bus, caller, owner, sender, observers, dbus-daemon, dbus-broker, and those with floor-, "
                  "zeromq- and sd-bus- in front");
    addRows(app, options);
    app.add_option("--svg", options.picture, "Write a picture of the ratios to this file");
    return parseArguments(app, argc, argv, exitCode);
}

} // namespace Bench
