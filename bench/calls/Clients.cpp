#include "Clients.h"

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
void checkReply(Options const& options, Tavix::Element const* argument, Tavix::Element const* reply)
{
    if (reply->toString() != (options.echo ? argument->toString() : Tavix::NullElem().toString()))
        fail("an answer is not the expected one");
}

std::vector<float> callOneByOne(Client& client, Options const& options, Tavix::Element* argument,
                                unsigned calls)
{
    std::vector<float> trips(calls);
    std::unique_ptr<Tavix::Element> reply;
    double before = nowMicroseconds();
    for (float& trip : trips) {
        Tavix::RemoteProxyResult result;
        reply.reset(client.proxy.callMethod(kObjectName, kMethodName, argument, result));
        check(result);
        const double after = nowMicroseconds();
        trip = static_cast<float>(after - before);
        before = after;
    }
    checkReply(options, argument, reply.get());
    return trips;
}

// Keeps a number of calls in flight: every answer sends the next one.
struct Pipeline {
    Client& client;
    Options const& options;
    Tavix::Element* argument;
    unsigned toSend;
    unsigned toCome;

    void send()
    {
        --toSend;
        check(client.proxy.callMethodAsync(kObjectName, kMethodName, argument, answered, this));
    }

    // A loop's callback throws nothing: a failure ends the process, and std::terminate prints its text.
    static void answered(Tavix::ResponseData const* response, void* state) noexcept
    {
        Pipeline* pipeline = static_cast<Pipeline*>(state);
        Tavix::Element* reply = response->map->getChild("result");
        if (reply->isException())
            fail(reply->stringValue().c_str());
        --pipeline->toCome;
        if (pipeline->toSend > 0)
            pipeline->send();
        if (pipeline->toCome == 0)
            checkReply(pipeline->options, pipeline->argument, reply);
    }
};

void callInFlight(Client& client, Options const& options, Tavix::Element* argument, Command const& command)
{
    Pipeline pipeline{client, options, argument, command.count, command.count};
    for (unsigned i = 0; i < command.outstanding && pipeline.toSend > 0; ++i)
        pipeline.send();
    while (pipeline.toCome > 0)
        client.loop->iterate();
}

} // namespace

Tavix::Element* makeArgument(Options const& options, unsigned payload)
{
    const std::string text(payload, 'x');
    Tavix::TvxResult result;
    if (options.binary)
        return new Tavix::BinaryElem(reinterpret_cast<unsigned char const*>(text.data()), payload, result);
    return new Tavix::StringElem(text);
}

Tavix::SharedObjectObserver* makeObject(Options const& options)
{
    if (options.token)
        return new TokenObject(options.echo);
    return new ValueObject(options.echo);
}

int runOwner(Options const& options)
{
    std::unique_ptr<Tavix::SharedObjectObserver> object(makeObject(options));
    Client client(options);
    check(client.proxy.addSharedObject(kObjectName, object.get()));
    roundTrip(client.proxy);
    reportReady(options.control);
    while (client.proxy.isConnected())
        client.loop->iterate();
    return 0;
}

int runCaller(Options const& options)
{
    Client client(options);
    std::vector<std::unique_ptr<Tavix::Element>> arguments;
    for (unsigned payload : options.sizes)
        arguments.emplace_back(makeArgument(options, payload));
    return serveCommands(options.control, [&](Command const& command) {
        Tavix::Element* argument = arguments.at(command.payload).get();
        if (command.outstanding == 1)
            return callOneByOne(client, options, argument, command.count);
        callInFlight(client, options, argument, command);
        return std::vector<float>();
    });
}

} // namespace Bench
