// The parent of a run: starts both systems, has them make their blocks of calls in turn and prints what came
// out. With --role this program is one of the processes measured.

#include "Clients.h"
#include "Floor.h"
#include "Measure.h"
#include "common/Program.h"

namespace {

using namespace Bench;

const Role<Options> kRoles[] = {
    {"caller", runCaller},
    {"owner", runOwner},
    {"floor-bus", runFloorForwarder},
    {"floor-caller", runFloorCaller},
    {"floor-owner", runFloorOwner},
};

void measureAll(Options const& options)
{
    TavixSystem tavix(options);
    FloorSystem floor(options);
    printReport(options, measure(options, tavix, floor));
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    return parseOptions(argc, argv, options, exitCode) ? runProgram(options, kRoles, measureAll) : exitCode;
}
