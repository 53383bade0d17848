#include "Payloads.h"
#include "SdBus.h"
#include "SdBusConnection.h"
#include "common/BusSystems.h"
#include "common/Control.h"

namespace Bench {

namespace {

// A callback throws nothing: a failure ends the process, and std::terminate prints its text.
int answerArgument(sd_bus_message* call, void*, sd_bus_error*) noexcept
{
    const SdBusBytes argument(call);
    SdBusMessage reply;
    checkSdBus(sd_bus_message_new_method_return(call, reply.fill()));
    reply.append(argument.data, argument.size);
    checkAlive(sd_bus_send(nullptr, reply.get(), nullptr));
    return 1;
}

void makeCall(SdBusConnection& connection, std::string const& payload, SdBusMessage& call)
{
    checkSdBus(sd_bus_message_new_method_call(connection.get(), call.fill(), kSdBusName, kSdBusPath,
                                              kSdBusInterface, kMethodName));
    call.append(payload.data(), payload.size());
}

std::vector<float> callOneByOne(SdBusConnection& connection, std::string const& payload, unsigned calls)
{
    std::vector<float> trips(calls);
    SdBusMessage reply;
    double before = nowMicroseconds();
    for (float& trip : trips) {
        SdBusMessage call;
        makeCall(connection, payload, call);
        checkAlive(sd_bus_call(connection.get(), call.get(), 0, nullptr, reply.fill()));
        const double after = nowMicroseconds();
        trip = static_cast<float>(after - before);
        before = after;
    }
    checkPayload(payload, SdBusBytes(reply.get()).text());
    return trips;
}

// The calls of a block: every answer sends the next one.
class Flight {
public:
    Flight(SdBusConnection& connection, std::string const& payload, unsigned calls)
        : _connection(connection), _payload(payload), _toSend(calls), _toCome(calls)
    {
    }

    void run(unsigned outstanding)
    {
        for (unsigned i = 0; i < outstanding && _toSend > 0; ++i)
            send();
        for (_connection.process(); _toCome > 0; _connection.process())
            _connection.wait();
    }

private:
    void send()
    {
        --_toSend;
        SdBusMessage call;
        makeCall(_connection, _payload, call);
        checkAlive(sd_bus_call_async(_connection.get(), nullptr, call.get(), answered, this, 0));
    }

    static int answered(sd_bus_message* reply, void* state, sd_bus_error*) noexcept
    {
        Flight& flight = *static_cast<Flight*>(state);
        const SdBusBytes come(reply); // fails when it is an error
        if (--flight._toCome == 0)
            checkPayload(flight._payload, come.text());
        if (flight._toSend > 0)
            flight.send();
        return 1;
    }

    SdBusConnection& _connection;
    std::string const& _payload;
    unsigned _toSend;
    unsigned _toCome;
};

} // namespace

int runSdBusOwner(RunOptions const& options)
{
    SdBusConnection connection(options);
    checkSdBus(sd_bus_add_object(connection.get(), nullptr, kSdBusPath, answerArgument, nullptr));
    checkSdBus(sd_bus_request_name(connection.get(), kSdBusName, 0));
    return passForEver(options.control, [&] {
        connection.process();
        connection.wait();
    });
}

int runSdBusCaller(RunOptions const& options)
{
    const std::vector<std::string> payloads = makePayloads(options);
    SdBusConnection connection(options);
    return serveCommands(options.control, [&](Command const& command) {
        std::string const& payload = payloads.at(command.payload);
        if (command.outstanding == 1)
            return callOneByOne(connection, payload, command.count);
        Flight(connection, payload, command.count).run(command.outstanding);
        return std::vector<float>();
    });
}

SdBusCalls::SdBusCalls(RunOptions const& options, std::string const& broker)
    : SdBusSystem(options, kCallParts, broker)
{
    startClients(kOwner, "sd-bus-owner", 1);
    startClients(kCaller, "sd-bus-caller", 1);
}

} // namespace Bench
