// Publishes the object "machine", which answers from the running system, until SIGTERM, SIGINT or the end of
// the bus:
//
//   uptime, load, memory       no parameter
//   processes                  how many of those with most memory (an integer, 5 when absent)
//   list                       the path of a directory (a text)
//   measureLoad                over how many seconds (a number, 1 when absent); answers late
//   generateInterfaceDescription
//
// Most methods stand in a table and answer at once. measureLoad takes its call as a token and answers from
// another thread.

#include "LoadMeter.h"
#include "MachineFacts.h"

#include <tavix/tavix.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace Tavix;

namespace {

Element* uptime(TableDrivenTavix*, std::string const&, std::string const&, Element*)
{
    return readUptime();
}

Element* load(TableDrivenTavix*, std::string const&, std::string const&, Element*)
{
    return readLoad();
}

Element* memory(TableDrivenTavix*, std::string const&, std::string const&, Element*)
{
    return readMemory();
}

Element* processes(TableDrivenTavix*, std::string const&, std::string const&, Element* params)
{
    const bool absent = params->instanceOf(NullElem::_type);
    const int count = absent ? 5 : params->intValue();
    if ((!absent && !params->instanceOf(IntegerElem::_type)) || count < 1 || count > 1000)
        return new ExceptionElem("processes takes a number of processes from 1 to 1000", kBadArgument);
    return readProcesses(static_cast<unsigned>(count));
}

Element* list(TableDrivenTavix*, std::string const&, std::string const&, Element* params)
{
    if (!params->instanceOf(StringElem::_type))
        return new ExceptionElem("list takes the path of a directory as a text", kBadArgument);
    return readDirectory(params->stringValue());
}

const TableDrivenTavix::Entry kMethods[] = {
    {"uptime", uptime}, {"load", load}, {"memory", memory}, {"processes", processes}, {"list", list},
};

class Machine : public TableDrivenTavix {
public:
    Machine() : TableDrivenTavix("machine", kMethods, sizeof kMethods / sizeof *kMethods) {}

    // Asked before the table is.
    bool handleMethod(SharedPtr<MethodInvocation> call) override
    {
        if (call->getMethodName() != "measureLoad")
            return false;
        const bool absent = call->getParams()->instanceOf(NullElem::_type);
        const double seconds = absent ? 1 : call->getParams()->doubleValue();
        if (seconds >= 0.01 && seconds <= 60) {
            _meter.measure(call, seconds);
        } else {
            ExceptionElem refusal("measureLoad takes a number of seconds from 0.01 to 60", kBadArgument);
            call->respond(&refusal);
        }
        return true;
    }

protected:
    void _populateInterfaceDescription(Element* description) override
    {
        description->getChild("methods")->addChild("measureLoad", new MapElem);
    }

private:
    LoadMeter _meter;
};

// Blocks the signals, in the threads to come too, and makes them readable from a descriptor.
int openStopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

} // namespace

int main()
{
    SharedPtr<PollLoopIf> loop(select_loop_glue_new());
    TavixProxy proxy(loop);
    if (!proxy.connect(nullptr, 0))
        return 1;

    // The application's own descriptors go into the same loop.
    bool stopped = false;
    const int signals = openStopSignals();
    void** source = nullptr;
    loop->newSource(signals, &source);
    loop->sourceAddWatch(source, kReadWatch);
    loop->addSource(
        source, [](void**, void* flag) { *static_cast<bool*>(flag) = true; }, &stopped);

    Machine machine;
    if (machine.startShare(&proxy) != PROXY_OK)
        return 1;
    std::puts("machine_service: serving \"machine\"");
    std::fflush(stdout);
    while (!stopped && proxy.isConnected())
        loop->iterate();

    loop->removeSource(source);
    loop->deleteSource(source);
    close(signals);
    return stopped ? 0 : 1;
}
