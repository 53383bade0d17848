#include "Options.h"

#include <CLI/CLI.hpp>

namespace Bench {

namespace {

const unsigned kLargestPayload = 196000; // the names around the argument need the rest of a frame

void addCalls(CLI::App& app, Options& options)
{
    app.add_option("--sizes", options.sizes, "Bytes of the argument, one row each")
        ->delimiter(',')
        ->check(CLI::Range(0u, kLargestPayload));
    app.add_option("--outstanding", options.outstanding, "Calls in flight; 1 is a synchronous call")
        ->delimiter(',')
        ->check(CLI::Range(1u, 10000u));
}

void addChoices(CLI::App& app, std::string& payload, std::string& reply, std::string& handler)
{
    app.add_option("--payload", payload, "Type of the argument: string or binary")
        ->check(CLI::IsMember({"string", "binary"}));
    app.add_option("--reply", reply, "What the object answers: echo (the argument) or null")
        ->check(CLI::IsMember({"echo", "null"}));
    app.add_option("--handler", handler,
                   "How the object answers: value (callMethod returns a new element) or token (respond)")
        ->check(CLI::IsMember({"value", "token"}));
}

} // namespace

bool parseOptions(int argc, char** argv, Options& options, int& exitCode)
{
    CLI::App app(
        "Method calls through tavix-bus, side by side with a floor: processes of our own that move the "
        "same frames with nothing but the system calls that any broker needs.");
    std::string payload = "string";
    std::string reply = "echo";
    std::string handler = "value";
    addRunOptions(app, options, "calls", "bus, caller, owner, floor-bus, floor-caller, floor-owner");
    addCalls(app, options);
    addChoices(app, payload, reply, handler);
    if (!parseArguments(app, argc, argv, exitCode))
        return false;
    options.style.binary = payload == "binary";
    options.style.echo = reply == "echo";
    options.style.token = handler == "token";
    return true;
}

} // namespace Bench
