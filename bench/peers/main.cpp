// The parent of a run: starts the floor and all peers, has them make their blocks in turn, prints what came out and
// draws it. With --role this program is one of the processes measured.

#include "Measure.h"
#include "Picture.h"
#include "common/CallFloor.h"
#include "common/EventClients.h"
#include "common/EventFloor.h"
#include "common/Program.h"
#ifdef TAVIX_BENCH_ZEROMQ
#include "ZeroMq.h"
#endif
#ifdef TAVIX_BENCH_SD_BUS
#include "SdBus.h"
#endif

#include <cstdio>

namespace {

using namespace Bench;

// A process of a system of calls.
template <int (*run)(RunOptions const&, CallStyle const&)>
int runForCalls(Options const& options)
{
    return run(options, options.style);
}

// A process of a system of events, whose commands name their sizes.
template <int (*run)(RunOptions const&)>
int runForEvents(Options const& options)
{
    return run(eventOptions(options));
}

// The forwarder of events knows how many its observers are.
int runForwarder(Options const& options)
{
    return options.clients > 0 ? runEventForwarder(options) : runCallForwarder(options);
}

const Role<Options> kRoles[] = {
    {"owner", runForCalls<runOwners>},
    {"caller", runForCalls<runCallers>},
    {"observers", runForEvents<runObservers>},
    {"sender", runForEvents<runSender>},
    {"floor-bus", runForwarder},
    {"floor-owner", runForCalls<runFloorOwner>},
    {"floor-caller", runForCalls<runFloorCaller>},
    {"floor-observers", runForEvents<runFloorObservers>},
    {"floor-sender", runForEvents<runFloorSender>},
#ifdef TAVIX_BENCH_ZEROMQ
    {"zeromq-router", runZeroMqRouter},
    {"zeromq-owner", runZeroMqOwner},
    {"zeromq-caller", runZeroMqCaller},
    {"zeromq-forwarder", runForEvents<runZeroMqForwarder>},
    {"zeromq-observers", runForEvents<runZeroMqObservers>},
    {"zeromq-sender", runForEvents<runZeroMqSender>},
#endif
#ifdef TAVIX_BENCH_SD_BUS
    {"sd-bus-owner", runSdBusOwner},
    {"sd-bus-caller", runSdBusCaller},
    {"sd-bus-observers", runForEvents<runSdBusObservers>},
    {"sd-bus-sender", runForEvents<runSdBusSender>},
#endif
};

void measureAll(Options const& options)
{
    const std::vector<Peer> peers = choosePeers(options);
    const std::vector<Row> rows = measure(options, peers);
    printReport(options, peers, rows);
    if (!options.picture.empty())
        writePicture(options.picture, peers, rows);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int exitCode = 0;
    return parseOptions(argc, argv, options, exitCode) ? runProgram(options, kRoles, measureAll) : exitCode;
}
