#include "common/EventFloor.h"

#include "common/BusSystems.h"
#include "common/EventClients.h"
#include "common/FloorSocket.h"
#include "common/Progress.h"
#include "common/Waiter.h"

#include <cstdlib>
#include <deque>
#include <memory>

namespace Bench {

namespace {

// Slot 0 is the sender's socket. A frame that an observer does not take at once stays in the buffer, and the
// next one is read when all have it.
class Forwarder {
public:
    explicit Forwarder(RunOptions const& options) : _waiter(Waiter::make(options.floorWait))
    {
        for (int fd : options.sockets) {
            _sockets.push_back(std::make_unique<FloorSocket>(fd, options.bufferSize));
            _waiter->add(static_cast<unsigned>(_sockets.size() - 1), fd);
        }
    }

    void pass()
    {
        _waiter->wait();
        if (_unsent > 0)
            sendRest();
        else if (!(_waiter->ready(0) & Waiter::kReadable))
            lookForEnd();
        else if (_sockets[0]->receive())
            sendToAll();
    }

private:
    void sendToAll()
    {
        FloorSocket const& from = *_sockets[0];
        for (unsigned slot = 1; slot < _sockets.size(); ++slot) {
            _sockets[slot]->send(from.frame(), from.frameLength());
            if (!_sockets[slot]->sending())
                continue;
            ++_unsent;
            _waiter->watch(slot, Waiter::kReadable | Waiter::kWritable);
        }
        if (_unsent > 0)
            _waiter->watch(0, Waiter::kNothing);
    }

    void sendRest()
    {
        for (unsigned slot = 1; slot < _sockets.size(); ++slot) {
            FloorSocket& to = *_sockets[slot];
            if (!to.sending() || !(_waiter->ready(slot) & Waiter::kWritable))
                continue;
            to.sendMore();
            if (to.sending())
                continue;
            --_unsent;
            _waiter->watch(slot, Waiter::kReadable);
        }
        if (_unsent == 0)
            _waiter->watch(0, Waiter::kReadable);
    }

    // An observer sends nothing: when its socket is readable, it has gone, and reading ends the process.
    void lookForEnd()
    {
        for (unsigned slot = 1; slot < _sockets.size(); ++slot) {
            if (_waiter->ready(slot) & Waiter::kReadable)
                _sockets[slot]->receive();
        }
    }

    std::vector<std::unique_ptr<FloorSocket>> _sockets;
    std::unique_ptr<Waiter> _waiter;
    unsigned _unsent = 0; // observers that do not have the whole frame
};

class FloorSender {
public:
    explicit FloorSender(RunOptions const& options)
        : _window(options, options.sockets.at(0)), _socket(options.sockets.at(1), options.bufferSize),
          _waiter(Waiter::make(options.floorWait))
    {
        for (unsigned payload : options.sizes)
            _frames.push_back(captureEvent(payload));
        _waiter->add(0, _window.fd());
        _waiter->add(1, _socket.fd());
    }

    void send(Command const& command)
    {
        Frame const& frame = _frames.at(command.payload);
        _window.begin(command.count);
        while (!_window.complete()) {
            while (!_socket.sending() && _window.takeOne())
                _socket.send(frame.data(), frame.size());
            _waiter->watch(1, Waiter::kReadable | (_socket.sending() ? Waiter::kWritable : Waiter::kNothing));
            _waiter->wait();
            if (_waiter->ready(1) & Waiter::kReadable)
                _socket.receive(); // the end
            if (_waiter->ready(1) & Waiter::kWritable)
                _socket.sendMore();
            if ((_waiter->ready(0) & Waiter::kReadable) && !_window.readProgress())
                std::exit(1);
        }
    }

private:
    Window _window;
    FloorSocket _socket;
    std::unique_ptr<Waiter> _waiter;
    std::vector<Frame> _frames;
};

} // namespace

int runEventForwarder(RunOptions const& options)
{
    Forwarder forwarder(options);
    return passForEver(options.control, [&] { forwarder.pass(); });
}

int runFloorObservers(RunOptions const& options)
{
    const unsigned observers = static_cast<unsigned>(options.sockets.size() - 1);
    Progress progress(options, observers, options.sockets[0]);
    const std::unique_ptr<Waiter> waiter = Waiter::make(options.floorWait);
    std::deque<FloorSocket> sockets;
    for (unsigned slot = 0; slot < observers; ++slot) {
        sockets.emplace_back(options.sockets[slot + 1], options.bufferSize);
        waiter->add(slot, sockets[slot].fd());
    }
    return passForEver(options.control, [&] {
        waiter->wait();
        for (unsigned slot = 0; slot < observers; ++slot) {
            if ((waiter->ready(slot) & Waiter::kReadable) && sockets[slot].receive())
                progress.delivered(slot);
        }
    });
}

int runFloorSender(RunOptions const& options)
{
    FloorSender sender(options);
    return serveCommands(options.control, [&](Command const& command) {
        sender.send(command);
        return std::vector<float>();
    });
}

EventFloor::EventFloor(RunOptions const& options, unsigned observers) : System(options, kEventParts)
{
    SocketPair progress;
    SocketPair sender;
    std::vector<SocketPair> pairs(observers);
    std::vector<int> near{sender.first.get()};
    std::vector<int> far{progress.first.get()};
    for (SocketPair const& pair : pairs) {
        near.push_back(pair.first.get());
        far.push_back(pair.second.get());
    }
    start(kBroker, "floor-bus", near, {"--clients", std::to_string(observers)});
    start(kObservers, "floor-observers", far);
    start(kSender, "floor-sender", {progress.second.get(), sender.second.get()});
    for (unsigned part : {+kBroker, +kObservers, +kSender})
        waitReady(part);
}

} // namespace Bench
