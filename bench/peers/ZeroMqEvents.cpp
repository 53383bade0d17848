#include "Payloads.h"
#include "ZeroMq.h"
#include "ZeroMqSocket.h"
#include "common/BusSystems.h"
#include "common/Control.h"
#include "common/Progress.h"

#include <cstdlib>

namespace Bench {

namespace {

std::string sendersAddress(RunOptions const& options)
{
    return "ipc://" + options.directory + "/senders";
}

std::string observersAddress(RunOptions const& options)
{
    return "ipc://" + options.directory + "/observers";
}

std::vector<ZeroMqSocket> subscribeAll(RunOptions const& options)
{
    std::vector<ZeroMqSocket> sockets;
    while (sockets.size() < options.clients) {
        sockets.emplace_back(ZMQ_SUB);
        sockets.back().connect(observersAddress(options));
        checkZeroMq(zmq_setsockopt(sockets.back().get(), ZMQ_SUBSCRIBE, "", 0) == 0);
    }
    return sockets;
}

// A subscription travels like a message, and nobody answers it: whoever must know of it waits for it.
void awaitSubscription(ZeroMqSocket& publisher, ZeroMqMessage& message)
{
    publisher.receive(message);
    if (message.text() != "\1")
        fail("something else came than a subscription");
}

} // namespace

int runZeroMqForwarder(RunOptions const& options)
{
    ZeroMqSocket senders(ZMQ_XSUB);
    ZeroMqSocket observers(ZMQ_XPUB);
    observers.set(ZMQ_XPUB_VERBOSE, 1); // shows equal subscriptions too
    senders.bind(sendersAddress(options));
    observers.bind(observersAddress(options));
    reportReady(options.control);
    for (unsigned i = 0; i < options.clients; ++i) {
        ZeroMqMessage message;
        awaitSubscription(observers, message);
        senders.send(message);
    }
    reportReady(options.control);
    return zmq_proxy(senders.get(), observers.get(), nullptr) == 0 ? 0 : 1;
}

int runZeroMqObservers(RunOptions const& options)
{
    Progress progress(options, options.clients, options.sockets.at(0));
    std::vector<ZeroMqSocket> sockets = subscribeAll(options);
    std::vector<zmq_pollitem_t> items;
    for (ZeroMqSocket const& socket : sockets)
        items.push_back({socket.get(), -1, ZMQ_POLLIN, 0});
    ZeroMqMessage message;
    return passForEver(options.control, [&] {
        checkZeroMq(zmq_poll(items.data(), static_cast<int>(items.size()), -1) >= 0);
        for (unsigned slot = 0; slot < sockets.size(); ++slot) {
            while ((items[slot].revents & ZMQ_POLLIN) && sockets[slot].receiveAtOnce(message))
                progress.delivered(slot);
        }
    });
}

int runZeroMqSender(RunOptions const& options)
{
    const std::vector<std::string> payloads = makePayloads(options);
    Window window(options, options.sockets.at(0));
    ZeroMqSocket socket(ZMQ_XPUB);
    socket.connect(sendersAddress(options));
    ZeroMqMessage message;
    awaitSubscription(socket, message);
    return serveCommands(options.control, [&](Command const& command) {
        window.begin(command.count);
        while (!window.complete()) {
            while (window.takeOne())
                socket.send(payloads.at(command.payload));
            if (!window.readProgress())
                std::exit(1);
        }
        return std::vector<float>();
    });
}

ZeroMqEvents::ZeroMqEvents(RunOptions const& options, unsigned observers) : System(options, kEventParts)
{
    makeDirectory();
    SocketPair progress;
    startClients(kBroker, "zeromq-forwarder", observers);
    startClients(kObservers, "zeromq-observers", observers, {progress.first.get()});
    waitReady(kBroker);
    startClients(kSender, "zeromq-sender", 1, {progress.second.get()});
}

} // namespace Bench
