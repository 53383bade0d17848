#include "Options.h"

#include <CLI/CLI.hpp>

namespace Bench {

namespace {

const unsigned kLargestPayload = 196000; // the names around the argument need the rest of a frame

void addChoices(CLI::App& app, Options& options, std::string& payload, std::string& reply,
                std::string& handler)
{
    app.add_option("--payload", payload, "Type of the argument: string or binary")
        ->check(CLI::IsMember({"string", "binary"}));
    app.add_option("--reply", reply, "What the object answers: echo (the argument) or null")
        ->check(CLI::IsMember({"echo", "null"}));
    app.add_option("--handler", handler,
                   "How the object answers: value (callMethod returns a new element) or token (respond)")
        ->check(CLI::IsMember({"value", "token"}));
    app.add_option("--floor-wait", options.floorWait, "What the floor waits with: poll, epoll or select")
        ->check(CLI::IsMember({"poll", "epoll", "select"}));
}

void addRun(CLI::App& app, Options& options)
{
    app.add_option("--sizes", options.sizes, "Bytes of the argument, one row each")
        ->delimiter(',')
        ->check(CLI::Range(0u, kLargestPayload));
    app.add_option("--outstanding", options.outstanding, "Calls in flight; 1 is a synchronous call")
        ->delimiter(',')
        ->check(CLI::Range(1u, 10000u));
    app.add_option("--blocks", options.blocks, "Blocks per row and system")->check(CLI::Range(1u, 100000u));
    app.add_option("--calls", options.calls, "Calls per block; 0 fills --block-ms");
    app.add_option("--block-ms", options.blockMilliseconds, "Length of a block")
        ->check(CLI::Range(1u, 10000u));
    app.add_option("--timeout", options.timeoutSeconds, "Seconds for a block, or for a process to start")
        ->check(CLI::Range(1u, 3600u));
    app.add_option("--cpu", options.cpu, "The CPU for all processes; -1 leaves them free");
    app.add_option("--buffer-size", options.bufferSize, "Socket buffers of both systems, in bytes")
        ->check(CLI::Range(0, 4194304));
    app.add_flag("--strace", options.countSyscalls, "Count the system calls per call too (needs strace)");
    app.add_option("--bus", options.bus, "The broker; default: tavix-bus beside this program");
    app.add_flag("--embedded-bus", options.embeddedBus, "A TavixBus in a process of this program instead");
    app.add_option("--wrap", options.wrap,
                   "role=command: start that process under a command; bus, caller, owner, floor-bus, "
                   "floor-caller, floor-owner")
        ->take_all()
        ->expected(1);
}

void addInternal(CLI::App& app, Options& options)
{
    app.add_option("--role", options.role)->group("");
    app.add_option("--control", options.control)->group("");
    app.add_option("--sockets", options.sockets)->delimiter(',')->group("");
}

} // namespace

bool parseOptions(int argc, char** argv, Options& options, int& exitCode)
{
    CLI::App app(
        "Method calls through tavix-bus, side by side with a floor: processes of our own that move the "
        "same frames with nothing but the system calls that any broker needs.");
    app.option_defaults()->always_capture_default();
    std::string payload = "string";
    std::string reply = "echo";
    std::string handler = "value";
    addRun(app, options);
    addChoices(app, options, payload, reply, handler);
    addInternal(app, options);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        exitCode = app.exit(error);
        return false;
    }
    options.binary = payload == "binary";
    options.echo = reply == "echo";
    options.token = handler == "token";
    return true;
}

} // namespace Bench
