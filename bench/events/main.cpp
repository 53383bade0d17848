// The parent of a run: starts the systems, has them send their blocks of events in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Measure.h"
#include "common/EventClients.h"
#include "common/EventFloor.h"
#include "common/Program.h"

#include <cstdio>

namespace {

using namespace Bench;

const Role<Options> kRoles[] = {
    {"sender", runSender},
    {"observers", runObservers},
    {"stuck", runStuck},
    {"floor-bus", runEventForwarder},
    {"floor-sender", runFloorSender},
    {"floor-observers", runFloorObservers},
};

void measureAll(Options const& options)
{
    printFanOut(options, measureFanOut(options));
    std::fflush(stdout);
    printStuck(options, measureStuck(options));
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    return parseOptions(argc, argv, options, exitCode) ? runProgram(options, kRoles, measureAll) : exitCode;
}
