// The parent of a run: starts the systems, has them send their blocks of events in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Clients.h"
#include "Floor.h"
#include "Measure.h"

#include <cstdio>
#include <exception>

namespace {

using namespace Bench;

int runBus(Options const& options)
{
    return runEmbeddedBus(options);
}

const Role<Options> kRoles[] = {
    {"bus", runBus},
    {"sender", runSender},
    {"observers", runObservers},
    {"stuck", runStuck},
    {"floor-bus", runFloorForwarder},
    {"floor-sender", runFloorSender},
    {"floor-observers", runFloorObservers},
};

int run(Options const& options)
{
    if (!options.role.empty())
        return runRole(options, kRoles);
    placeProcesses(options);
    printFanOut(options, measureFanOut(options));
    std::fflush(stdout);
    printStuck(options, measureStuck(options));
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
        std::fprintf(stderr, "bench_events: %s\n", error.what());
        return 1;
    }
}
