#include "common/CallClients.h"

#include "common/Client.h"
#include "common/Control.h"

#include <tavix/elements/BinaryElem.h>
#include <tavix/elements/NullElem.h>
#include <tavix/elements/StringElem.h>

#include <memory>

namespace Bench {

namespace {

class ValueObject : public Tavix::SharedObjectObserver {
public:
    explicit ValueObject(bool echo) : _echo(echo) {}

    Tavix::Element* callMethod(std::string, std::string, Tavix::Element* params) override
    {
        return _echo ? params->clone() : new Tavix::NullElem;
    }

private:
    const bool _echo;
};

class TokenObject : public Tavix::SharedObjectObserver {
public:
    explicit TokenObject(bool echo) : _echo(echo) {}

    bool handleMethod(SharedPtr<MethodInvocation> invocation) override
    {
        Tavix::NullElem null;
        invocation->respond(_echo ? invocation->getParams() : &null);
        return true;
    }

private:
    const bool _echo;
};

// For one reply of a block, outside of the measured time: a wrong one would flatter the figures.
void checkReply(CallStyle const& style, Tavix::Element const* argument, Tavix::Element const* reply)
{
    if (reply->toString() != (style.echo ? argument->toString() : Tavix::NullElem().toString()))
        fail("an answer is not the expected one");
}

std::vector<float> callOneByOne(Client& client, CallStyle const& style, Tavix::Element* argument,
                                unsigned calls)
{
    const std::string object = objectName(0);
    std::vector<float> trips(calls);
    std::unique_ptr<Tavix::Element> reply;
    double before = nowMicroseconds();
    for (float& trip : trips) {
        Tavix::RemoteProxyResult result;
        reply.reset(client.proxy.callMethod(object, kMethodName, argument, result));
        check(result);
        const double after = nowMicroseconds();
        trip = static_cast<float>(after - before);
        before = after;
    }
    checkReply(style, argument, reply.get());
    return trips;
}

// The calls of a block, of all callers together.
struct Flight {
    CallStyle const& style;
    Tavix::Element* argument;
    unsigned toSend;
    unsigned toCome;
};

// Keeps a number of calls of one caller in flight: every answer sends the next one.
struct Pipeline {
    Client& client;
    const std::string object;
    Flight* flight = nullptr;

    void send()
    {
        --flight->toSend;
        check(client.proxy.callMethodAsync(object, kMethodName, flight->argument, answered, this));
    }

    // A loop's callback throws nothing: a failure ends the process, and std::terminate prints its text.
    static void answered(Tavix::ResponseData const* response, void* state) noexcept
    {
        Pipeline* pipeline = static_cast<Pipeline*>(state);
        Flight& flight = *pipeline->flight;
        Tavix::Element* reply = response->map->getChild("result");
        if (reply->isException())
            fail(reply->stringValue().c_str());
        --flight.toCome;
        if (flight.toSend > 0)
            pipeline->send();
        if (flight.toCome == 0)
            checkReply(flight.style, flight.argument, reply);
    }
};

typedef std::vector<std::unique_ptr<Client>> Clients;

Clients connectAll(RunOptions const& options)
{
    SharedPtr<Tavix::PollLoopIf> loop(makeLoop(options.clientLoop));
    Clients clients;
    while (clients.size() < options.clients)
        clients.push_back(std::make_unique<Client>(options, loop));
    return clients;
}

class Callers {
public:
    Callers(RunOptions const& options, CallStyle const& style) : _style(style), _clients(connectAll(options))
    {
        for (auto const& client : _clients)
            _pipelines.push_back(Pipeline{*client, objectName(static_cast<unsigned>(_pipelines.size()))});
    }

    std::vector<float> call(Tavix::Element* argument, Command const& command)
    {
        if (command.outstanding == 1 && _clients.size() == 1)
            return callOneByOne(*_clients.front(), _style, argument, command.count);
        callInFlight(argument, command);
        return std::vector<float>();
    }

private:
    void callInFlight(Tavix::Element* argument, Command const& command)
    {
        Flight flight{_style, argument, command.count, command.count};
        for (Pipeline& pipeline : _pipelines) {
            pipeline.flight = &flight;
            for (unsigned i = 0; i < command.outstanding && flight.toSend > 0; ++i)
                pipeline.send();
        }
        while (flight.toCome > 0)
            _clients.front()->loop->iterate();
    }

    CallStyle const& _style;
    Clients _clients;
    std::vector<Pipeline> _pipelines;
};

} // namespace

std::string objectName(unsigned pair)
{
    return "bench" + std::to_string(pair);
}

Tavix::Element* makeArgument(CallStyle const& style, unsigned payload)
{
    const std::string text(payload, 'x');
    Tavix::TvxResult result;
    if (style.binary)
        return new Tavix::BinaryElem(reinterpret_cast<unsigned char const*>(text.data()), payload, result);
    return new Tavix::StringElem(text);
}

Tavix::SharedObjectObserver* makeObject(CallStyle const& style)
{
    if (style.token)
        return new TokenObject(style.echo);
    return new ValueObject(style.echo);
}

int runOwners(RunOptions const& options, CallStyle const& style)
{
    std::unique_ptr<Tavix::SharedObjectObserver> object(makeObject(style));
    const Clients clients = connectAll(options);
    unsigned pair = 0;
    for (auto const& client : clients) {
        check(client->proxy.addSharedObject(objectName(pair++), object.get()));
        roundTrip(client->proxy);
    }
    reportReady(options.control);
    while (clients.front()->proxy.isConnected())
        clients.front()->loop->iterate();
    return 0;
}

int runCallers(RunOptions const& options, CallStyle const& style)
{
    Callers callers(options, style);
    std::vector<std::unique_ptr<Tavix::Element>> arguments;
    for (unsigned payload : options.sizes)
        arguments.emplace_back(makeArgument(style, payload));
    return serveCommands(options.control, [&](Command const& command) {
        return callers.call(arguments.at(command.payload).get(), command);
    });
}

int runIdle(RunOptions const& options)
{
    const Clients clients = connectAll(options);
    for (auto const& client : clients)
        roundTrip(client->proxy);
    return standStill(options.control);
}

} // namespace Bench
