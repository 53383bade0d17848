// The parent of a run: starts both systems, has them make their blocks of calls in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Clients.h"
#include "Floor.h"
#include "Measure.h"
#include "Options.h"

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
    {"caller", runCaller},
    {"owner", runOwner},
    {"floor-bus", runFloorForwarder},
    {"floor-caller", runFloorCaller},
    {"floor-owner", runFloorOwner},
};

int run(Options const& options)
{
    if (!options.role.empty())
        return runRole(options, kRoles);
    placeProcesses(options);
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
