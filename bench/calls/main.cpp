// The parent of a run: starts both systems, has them make their blocks of calls in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Measure.h"
#include "common/CallFloor.h"
#include "common/Program.h"

namespace {

using namespace Bench;

const Role<Options> kRoles[] = {
    {"caller", [](Options const& options) { return runCallers(options, options.style); }},
    {"owner", [](Options const& options) { return runOwners(options, options.style); }},
    {"floor-bus", runCallForwarder},
    {"floor-caller", [](Options const& options) { return runFloorCaller(options, options.style); }},
    {"floor-owner", [](Options const& options) { return runFloorOwner(options, options.style); }},
};

void measureAll(Options const& options)
{
    CallSystem tavix(options, CallSystem::Setting(), options.loop);
    CallFloor floor(options);
    printReport(options, measure(options, tavix, floor));
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    return parseOptions(argc, argv, options, exitCode) ? runProgram(options, kRoles, measureAll) : exitCode;
}
