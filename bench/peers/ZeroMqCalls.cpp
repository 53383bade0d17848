#include "Payloads.h"
#include "ZeroMq.h"
#include "ZeroMqSocket.h"
#include "common/BusSystems.h"
#include "common/Control.h"

namespace Bench {

namespace {

std::string callersAddress(RunOptions const& options)
{
    return "ipc://" + options.directory + "/callers";
}

std::string ownersAddress(RunOptions const& options)
{
    return "ipc://" + options.directory + "/owners";
}

std::vector<float> callOneByOne(ZeroMqSocket& socket, std::string const& payload, unsigned calls)
{
    std::vector<float> trips(calls);
    ZeroMqMessage reply;
    double before = nowMicroseconds();
    for (float& trip : trips) {
        socket.send(payload);
        socket.receive(reply);
        const double after = nowMicroseconds();
        trip = static_cast<float>(after - before);
        before = after;
    }
    checkPayload(payload, reply.text());
    return trips;
}

void callInFlight(ZeroMqSocket& socket, std::string const& payload, Command const& command)
{
    ZeroMqMessage reply;
    unsigned sent = 0;
    for (unsigned come = 0; come < command.count; ++come) {
        for (; sent < command.count && sent - come < command.outstanding; ++sent)
            socket.send(payload);
        socket.receive(reply);
    }
    checkPayload(payload, reply.text());
}

} // namespace

int runZeroMqRouter(RunOptions const& options)
{
    ZeroMqSocket callers(ZMQ_ROUTER);
    ZeroMqSocket owners(ZMQ_DEALER);
    callers.bind(callersAddress(options));
    owners.bind(ownersAddress(options));
    reportReady(options.control);
    return zmq_proxy(callers.get(), owners.get(), nullptr) == 0 ? 0 : 1;
}

int runZeroMqOwner(RunOptions const& options)
{
    ZeroMqSocket socket(ZMQ_DEALER);
    socket.connect(ownersAddress(options));
    ZeroMqMessage caller;
    ZeroMqMessage body;
    return passForEver(options.control, [&] {
        socket.receive(caller);
        socket.receive(body);
        socket.send(caller, ZMQ_SNDMORE);
        socket.send(body);
    });
}

int runZeroMqCaller(RunOptions const& options)
{
    const std::vector<std::string> payloads = makePayloads(options);
    ZeroMqSocket socket(ZMQ_DEALER);
    socket.connect(callersAddress(options));
    return serveCommands(options.control, [&](Command const& command) {
        std::string const& payload = payloads.at(command.payload);
        if (command.outstanding == 1)
            return callOneByOne(socket, payload, command.count);
        callInFlight(socket, payload, command);
        return std::vector<float>();
    });
}

ZeroMqCalls::ZeroMqCalls(RunOptions const& options) : System(options, kCallParts)
{
    makeDirectory();
    startClients(kBroker, "zeromq-router", 0);
    startClients(kOwner, "zeromq-owner", 1);
    startClients(kCaller, "zeromq-caller", 1);
}

} // namespace Bench
