#ifndef TAVIX_PROGRAMS_TAVIXCTL_BUSCLIENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_BUSCLIENT_H

#include "tavixctl/Deadline.h"
#include "tavixctl/ExitCode.h"

#include <tavix/TavixProxy.h>
#include <tavix/elements/Element.h>

#include <memory>
#include <string>

namespace CLI {
class App;
}

// What every verb that talks to the bus can be told.
struct BusOptions {
    std::string address; // empty for the default socket
    double timeout = 0;  // seconds, 0 for no limit

    void addTo(CLI::App& verb);
};

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

private:
    static void onAnswer(Tavix::ResponseData const* response, void* client);
    ExitCode notSent(Tavix::RemoteProxyResult result, std::string const& call) const;
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
