// The parent of a run: starts a broker on each loop with its clients, has them make their blocks in turn and prints
// what came out. With --role this program is one of the processes measured.

#include "Measure.h"
#include "common/CallClients.h"
#include "common/EventClients.h"
#include "common/Program.h"

#include <cstdio>

namespace {

using namespace Bench;

const Role<Options> kRoles[] = {
    {"caller", [](Options const& options) { return runCallers(options, CallStyle()); }},
    {"owner", [](Options const& options) { return runOwners(options, CallStyle()); }},
    {"idle", runIdle},
    {"sender", runSender},
    {"observers", runObservers},
};

void measureAll(Options const& options)
{
    printCalls(options, measureCalls(options));
    std::fflush(stdout);
    printFanOut(options, measureFanOut(options));
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    return parseOptions(argc, argv, options, exitCode) ? runProgram(options, kRoles, measureAll) : exitCode;
}
