// The parent of a run: starts both systems, has them make their blocks of calls in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Clients.h"
#include "Floor.h"
#include "Measure.h"
#include "Options.h"

#include <cstdio>
#include <exception>
#include <sched.h>

namespace {

using namespace Bench;

int runRole(Options const& options)
{
    static const struct {
        char const* role;
        int (*run)(Options const&);
    } kRoles[] = {
        {"bus", runEmbeddedBus},
        {"caller", runCaller},
        {"owner", runOwner},
        {"floor-bus", runFloorForwarder},
        {"floor-caller", runFloorCaller},
        {"floor-owner", runFloorOwner},
    };
    for (auto const& entry : kRoles) {
        if (options.role == entry.role)
            return entry.run(options);
    }
    return 2;
}

// The children inherit it.
void pinTo(int cpu)
{
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<unsigned>(cpu), &cpus);
    if (sched_setaffinity(0, sizeof cpus, &cpus) != 0)
        fail("the process cannot be pinned to this CPU; see --cpu");
}

int run(Options const& options)
{
    if (!options.role.empty())
        return runRole(options);
    if (options.cpu >= 0)
        pinTo(options.cpu);
    TavixSystem tavix(options);
    FloorSystem floor(options);
    printReport(options, measure(options, tavix, floor));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    if (!parseOptions(argc, argv, options, exitCode))
        return exitCode;
    try {
        return run(options);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "bench_calls: %s\n", error.what());
        return 1;
    }
}
