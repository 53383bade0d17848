#ifndef TAVIX_PROGRAMS_TAVIX_BUS_BROKER_H
#define TAVIX_PROGRAMS_TAVIX_BUS_BROKER_H

#include "tavix-bus/MemoryReturn.h"
#include "tavix-bus/Options.h"
#include "tavix-bus/Output.h"
#include "tavix-bus/Signals.h"

#include <tavix/PollLoopIf.h>
#include <tavix/TavixBus.h>
#include <tavix/foundation/SharedPtr.h>

#include <memory>

// The bus and what it runs on: the loop, the output and the signals. One for the process. From the
// construction on the signals wait for start().
class Broker {
public:
    explicit Broker(std::initializer_list<int> signals) : _signals(signals) {}

    // Takes the listeners, also on failure; tcpListener is -1 for none. The options stay for as long as the
    // broker. The handler runs on the loop. False with an error in words.
    bool start(Options const& options, int unixListener, int tcpListener, Signals::Handler handler,
               std::string& error);

    // Reads the configuration of what is started on demand anew.
    void reload();

    void iterate()
    {
        _loop->iterate();
        _memory.passed();
    }

    Signals const& signals() const { return _signals; }

private:
    char const* activationDir() const;

    Output _output{stdout, _IOLBF}; // each line reaches a log when it is written
    Output _errors{stderr, _IONBF};
    Signals _signals;
    MemoryReturn _memory;
    SharedPtr<Tavix::PollLoopIf> _loop;
    Options const* _options = nullptr;
    std::unique_ptr<Tavix::TavixBus> _bus;
};

#endif
