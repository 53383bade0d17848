#include "common/RunOptions.h"

#include "common/Fail.h"
#include "common/Table.h"

#include <CLI/CLI.hpp>
#include <sched.h>

namespace Bench {

namespace {

void addInternal(CLI::App& app, RunOptions& options)
{
    app.add_option("--role", options.role)->group("");
    app.add_option("--control", options.control)->group("");
    app.add_option("--sockets", options.sockets)->delimiter(',')->group("");
    app.add_option("--directory", options.directory)->group("");
    app.add_option("--clients", options.clients)->group("");
}

} // namespace

void addRunOptions(CLI::App& app, RunOptions& options, char const* what, char const* roles)
{
    const std::string things = what;
    app.option_defaults()->always_capture_default();
    app.add_option("--blocks", options.blocks, "Blocks per row and system")->check(CLI::Range(1u, 100000u));
    app.add_option("--" + things, options.calls, things + " per block; 0 fills --block-ms");
    app.add_option("--block-ms", options.blockMilliseconds, "Length of a block")
        ->check(CLI::Range(1u, 10000u));
    app.add_option("--timeout", options.timeoutSeconds, "Seconds for a block, or for a process to start")
        ->check(CLI::Range(1u, 3600u));
    app.add_option("--cpu", options.cpu, "The CPU for all processes; -1 leaves them free");
    app.add_option("--batch", options.batch,
                   "SCHED_BATCH: a process that wakes does not take the CPU at once");
    app.add_option("--buffer-size", options.bufferSize, "Socket buffers of both systems, in bytes")
        ->check(CLI::Range(0, 4194304));
    app.add_flag("--strace", options.countSyscalls, "Count the system calls too (needs strace)");
    app.add_option("--floor-wait", options.floorWait, "What the floor waits with: poll, epoll or select")
        ->check(CLI::IsMember({"poll", "epoll", "select"}));
    app.add_option("--loop", options.loop,
                   "The broker's loop: select, epoll or glib; default: its own choice")
        ->check(CLI::IsMember({"select", "epoll", "glib"}))
        ->take_last();
    app.add_option("--bus", options.bus, "The broker; default: tavix-bus beside this program");
    app.add_flag("--embedded-bus", options.embeddedBus, "A TavixBus in a process of this program instead");
    app.add_option("--wrap", options.wrap,
                   std::string("role=command: start that process under a command; ") + roles)
        ->take_all()
        ->expected(1);
    addInternal(app, options);
}

bool parseArguments(CLI::App& app, int argc, char** argv, int& exitCode)
{
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        exitCode = app.exit(error);
        return false;
    }
    return true;
}

void placeProcesses(RunOptions const& options)
{
    const sched_param none{};
    if (options.batch && sched_setscheduler(0, SCHED_BATCH, &none) != 0)
        fail("the process cannot be scheduled as a batch; see --batch");
    if (options.cpu < 0)
        return;
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<unsigned>(options.cpu), &cpus);
    if (sched_setaffinity(0, sizeof cpus, &cpus) != 0)
        fail("the process cannot be pinned to this CPU; see --cpu");
}

std::string describeRun(RunOptions const& options)
{
    return (options.cpu < 0 ? "not pinned" : format("all processes on CPU %d", options.cpu)) +
           (options.batch ? ", scheduled as a batch" : "") +
           "; socket buffers: " + (options.bufferSize ? format("%d bytes", options.bufferSize) : "default");
}

} // namespace Bench
