#include "common/CallFloor.h"

#include "common/BusSystems.h"
#include "common/CallFrames.h"
#include "common/Control.h"
#include "common/Fail.h"
#include "common/FloorSocket.h"
#include "common/Waiter.h"

namespace Bench {

namespace {

// What the two directions of the forwarder do in one pass. A frame that the far side does not take at once
// stays in the near side's buffer, and nothing more is read there until it has left.
struct Direction {
    unsigned from;
    unsigned to;
};

const Direction kDirections[] = {{0, 1}, {1, 0}};

class Forwarder {
public:
    explicit Forwarder(RunOptions const& options)
        : _sockets{{options.sockets.at(0), options.bufferSize}, {options.sockets.at(1), options.bufferSize}},
          _waiter(Waiter::make(options.floorWait))
    {
        for (unsigned slot : {0u, 1u})
            _waiter->add(slot, _sockets[slot].fd());
    }

    void pass()
    {
        _waiter->wait();
        for (Direction const& direction : kDirections) {
            FloorSocket& from = _sockets[direction.from];
            FloorSocket& to = _sockets[direction.to];
            const bool wasSending = to.sending();
            if (wasSending && (_waiter->ready(direction.to) & Waiter::kWritable))
                to.sendMore();
            else if (!wasSending && (_waiter->ready(direction.from) & Waiter::kReadable) && from.receive())
                to.send(from.frame(), from.frameLength());
            if (to.sending() != wasSending)
                watchAnew();
        }
    }

private:
    void watchAnew()
    {
        for (Direction const& direction : kDirections) {
            const bool full = _sockets[direction.to].sending();
            const bool unsent = _sockets[direction.from].sending();
            _waiter->watch(direction.from, (full ? Waiter::kNothing : Waiter::kReadable) |
                                               (unsent ? Waiter::kWritable : Waiter::kNothing));
        }
    }

    FloorSocket _sockets[2];
    std::unique_ptr<Waiter> _waiter;
};

// A floor client: one socket and its wait.
class Endpoint {
public:
    explicit Endpoint(RunOptions const& options)
        : socket(options.sockets.at(0), options.bufferSize), _waiter(Waiter::make(options.floorWait))
    {
        _waiter->add(0, socket.fd());
    }

    // Waits for a frame, or for room for the one that is being sent; true when a frame has come.
    bool pass(bool reading)
    {
        _waiter->watch(0, (reading ? Waiter::kReadable : Waiter::kNothing) |
                              (socket.sending() ? Waiter::kWritable : Waiter::kNothing));
        _waiter->wait();
        const unsigned ready = _waiter->ready(0);
        if (socket.sending() && (ready & Waiter::kWritable))
            socket.sendMore();
        return reading && (ready & Waiter::kReadable) && socket.receive();
    }

    FloorSocket socket;

private:
    std::unique_ptr<Waiter> _waiter;
};

std::vector<float> callOneByOne(Endpoint& endpoint, Frame const& request, unsigned calls)
{
    std::vector<float> trips(calls);
    double before = nowMicroseconds();
    for (float& trip : trips) {
        endpoint.socket.send(request.data(), request.size());
        while (!endpoint.pass(true)) {
        }
        const double after = nowMicroseconds();
        trip = static_cast<float>(after - before);
        before = after;
    }
    return trips;
}

void callInFlight(Endpoint& endpoint, Frame const& request, Command const& command)
{
    unsigned sent = 0;
    unsigned come = 0;
    while (come < command.count) {
        while (sent < command.count && sent - come < command.outstanding && !endpoint.socket.sending()) {
            endpoint.socket.send(request.data(), request.size());
            ++sent;
        }
        if (endpoint.pass(true))
            ++come;
    }
}

Frame const& replyTo(std::size_t requestLength, std::vector<FramePair> const& frames)
{
    for (FramePair const& pair : frames) {
        if (pair.request.size() == requestLength)
            return pair.reply;
    }
    fail("the floor met a frame of unknown length");
}

} // namespace

int runCallForwarder(RunOptions const& options)
{
    Forwarder forwarder(options);
    return passForEver(options.control, [&] { forwarder.pass(); });
}

int runFloorOwner(RunOptions const& options, CallStyle const& style)
{
    const std::vector<FramePair> frames = captureAllFrames(options, style);
    Endpoint endpoint(options);
    return passForEver(options.control, [&] {
        if (endpoint.pass(!endpoint.socket.sending())) {
            Frame const& reply = replyTo(endpoint.socket.frameLength(), frames);
            endpoint.socket.send(reply.data(), reply.size());
        }
    });
}

int runFloorCaller(RunOptions const& options, CallStyle const& style)
{
    const std::vector<FramePair> frames = captureAllFrames(options, style);
    Endpoint endpoint(options);
    return serveCommands(options.control, [&](Command const& command) {
        Frame const& request = frames.at(command.payload).request;
        if (command.outstanding == 1)
            return callOneByOne(endpoint, request, command.count);
        callInFlight(endpoint, request, command);
        return std::vector<float>();
    });
}

CallFloor::CallFloor(RunOptions const& options) : System(options, kCallParts)
{
    SocketPair caller;
    SocketPair owner;
    start(kBroker, "floor-bus", {caller.first.get(), owner.first.get()});
    start(kOwner, "floor-owner", {owner.second.get()});
    start(kCaller, "floor-caller", {caller.second.get()});
    for (unsigned part : {+kBroker, +kOwner, +kCaller})
        waitReady(part);
}

} // namespace Bench
