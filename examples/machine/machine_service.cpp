// Publishes the object "machine", which answers from the running system, until SIGTERM, SIGINT or the end of
// the bus:
//
//   uptime, load, memory       no parameter
//   processes                  how many of those with most memory (an integer, 5 when absent)
//   list                       the path of a directory (a text)
//   report                     {"to": an open descriptor}, into which it writes the three above as text
//   measureLoad                over how many seconds (a number, 1 when absent); answers late
//   generateInterfaceDescription
//
// and sends the event "load", with the value of the method of that name, once a second while somebody observes
// it. The bus says when that is, by two methods:
//
//   firstObserverAdded         the name of an event (a text)
//   lastObserverRemoved        a list of the name of an event and what firstObserverAdded has returned
//
// Most methods stand in a table and answer at once. measureLoad takes its call as a token and answers from
// another thread. It is all the same whether somebody starts the service or the bus does, on demand.

#include "LoadMeter.h"
#include "LoadTicker.h"
#include "MachineFacts.h"
#include "Report.h"

#include <tavix/tavix.h>

#include <csignal>
#include <cstdio>
#include <poll.h>
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

Element* report(TableDrivenTavix*, std::string const&, std::string const&, Element* params)
{
    return writeReport(params);
}

class Machine : public TableDrivenTavix {
public:
    Machine(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy);

    // Asked before the table is.
    bool handleMethod(SharedPtr<MethodInvocation> call) override;
    using TableDrivenTavix::callMethod;
    Element* callMethod(std::string objName, std::string method, Element* params) override;

protected:
    void _populateInterfaceDescription(Element* description) override;

private:
    static const Entry kMethods[];

    static Element* firstObserverAdded(TableDrivenTavix* machine, std::string const& objName,
                                       std::string const& method, Element* params);
    static Element* lastObserverRemoved(TableDrivenTavix* machine, std::string const& objName,
                                        std::string const& method, Element* params);

    LoadMeter _meter;
    LoadTicker _ticker;
};

const TableDrivenTavix::Entry Machine::kMethods[] = {
    {"uptime", uptime},
    {"load", load},
    {"memory", memory},
    {"processes", processes},
    {"list", list},
    {"report", report},
    {"firstObserverAdded", firstObserverAdded},
    {"lastObserverRemoved", lastObserverRemoved},
};

Machine::Machine(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy)
    : TableDrivenTavix("machine", kMethods, sizeof kMethods / sizeof *kMethods), _ticker(loop, proxy)
{
}

bool isLoad(Element* event)
{
    return event && event->instanceOf(StringElem::_type) && event->stringValue() == "load";
}

// The bus may say it twice: to a service that it has started for an observer it hands the call that was
// waiting, and then names every event that is observed.
Element* Machine::firstObserverAdded(TableDrivenTavix* machine, std::string const&, std::string const&,
                                     Element* params)
{
    if (!isLoad(params))
        return new ExceptionElem("firstObserverAdded takes the name of an event as a text: \"load\"",
                                 kBadArgument);
    if (!static_cast<Machine*>(machine)->_ticker.start())
        return new ExceptionElem("there is no timer", kSystemError);
    return new StringElem("ticker"); // which producer to stop; there is only one here
}

Element* Machine::lastObserverRemoved(TableDrivenTavix* machine, std::string const&, std::string const&,
                                      Element* params)
{
    if (!params->instanceOf(ListElem::_type) || params->getNumChildren() != 2 ||
        !isLoad(params->getChild(0u)))
        return new ExceptionElem(
            "lastObserverRemoved takes the name of an event, \"load\", and a value in a list", kBadArgument);
    static_cast<Machine*>(machine)->_ticker.stop();
    return new NullElem;
}

bool Machine::handleMethod(SharedPtr<MethodInvocation> call)
{
    if (call->getMethodName() != "measureLoad")
        return false;
    closeDescriptors(call->getParams());
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

// Descriptors that have come with a call belong to its handler: who closes only what it asked for has none left some day.
Element* Machine::callMethod(std::string objName, std::string method, Element* params)
{
    Element* const result = TableDrivenTavix::callMethod(objName, method, params);
    closeDescriptors(params);
    return result;
}

void Machine::_populateInterfaceDescription(Element* description)
{
    struct {
        char const* method;
        char const* text;
    } const texts[] = {
        {"uptime", "How long the machine runs"},
        {"load", "How many tasks want to run, on average; also an event"},
        {"memory", "How much memory there is"},
        {"processes", "The processes with most memory: how many (an integer)"},
        {"list", "The entries of a directory: its path"},
        {"report", "Writes uptime, load and memory into an open descriptor: {\"to\": descriptor}"},
        {"measureLoad", "How busy the processors are: over how many seconds; answers late"},
        {"firstObserverAdded", "From the bus: an event is observed"},
        {"lastObserverRemoved", "From the bus: an event is not observed any more"},
    };
    Element* methods = description->getChild("methods");
    for (auto const& entry : texts) {
        auto* map = new MapElem;
        map->addChild("description", new StringElem(entry.text));
        methods->addChild(entry.method, map);
    }
}

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

// A service that the bus has started has the bus's standard output, which may be full, or have no reader.
void announce()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) != 1 || output.revents != POLLOUT)
        return;
    std::puts("machine_service: serving \"machine\"");
    std::fflush(stdout);
}

} // namespace

int main()
{
    signal(SIGPIPE, SIG_IGN); // a pipe that comes with a call may have lost its reader
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

    Machine machine(loop, proxy);
    if (machine.startShare(&proxy) != PROXY_OK)
        return 1;
    announce();
    while (!stopped && proxy.isConnected())
        loop->iterate();

    loop->removeSource(source);
    loop->deleteSource(source);
    close(signals);
    return stopped ? 0 : 1;
}
