#ifndef TAVIX_PROGRAMS_TAVIXCTL_BUSCLIENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_BUSCLIENT_H

#include "tavixctl/BusOptions.h"
#include "tavixctl/Deadline.h"
#include "tavixctl/ExitCode.h"

#include <tavix/TavixProxy.h>
#include <tavix/elements/Element.h>

#include <memory>
#include <string>
#include <vector>

// One connection to the bus for one command, with one limit of time over everything. Failures are said on
// standard error, and the answer is the exit code for them. After a failure the client is at its end.
class BusClient {
public:
    explicit BusClient(BusOptions const& options);

    // Tries once: a command is not kept waiting for a bus that may never start.
    ExitCode connect();

    // Lends params, null for none. On success the value is in result.
    ExitCode call(std::string const& object, std::string const& method, Tavix::Element* params,
                  std::unique_ptr<Tavix::Element>& result);

    // Asks the bus's own object for a list of texts. Lends params, null for none.
    ExitCode askBus(std::string const& method, Tavix::Element* params, std::vector<std::string>& texts);

    // Hands an event to the bus; whether the bus has it shows the answer to a call behind it. Lends data,
    // null for none.
    ExitCode sendEvent(std::string const& object, std::string const& event, Tavix::Element* data);

    // Asks for events; they come once the bus has answered a call behind this. Lends observer, which lives as
    // long as anything waits on this client.
    ExitCode observe(std::string const& object, std::string const& event,
                     Tavix::ObjectEventObserver* observer);

    // Runs the loop until `done`, which a callback sets, or until the time is over or the bus has gone.
    // `what` is waited for, in words.
    ExitCode waitUntil(bool const& done, std::string const& what);

    ExitCode busEnded(std::string const& what) const;

    Tavix::TavixProxy& proxy() { return _proxy; }
    SharedPtr<Tavix::PollLoopIf> const& loop() { return _loop; }
    Deadline const& deadline() const { return _deadline; }

private:
    static void onAnswer(Tavix::ResponseData const* response, void* client);
    ExitCode notSent(Tavix::RemoteProxyResult result, std::string const& what) const;
    ExitCode answeredWithException(std::string const& object, std::string const& call);

    const BusOptions _options;
    std::string _place; // where the bus is, for messages
    SharedPtr<Tavix::PollLoopIf> _loop;
    Deadline _deadline;
    Tavix::TavixProxy _proxy;
    bool _answered = false;
    std::unique_ptr<Tavix::Element> _answer;
};

#endif
