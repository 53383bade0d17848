#include "Payloads.h"
#include "SdBus.h"
#include "SdBusConnection.h"
#include "common/BusSystems.h"
#include "common/Control.h"
#include "common/Progress.h"
#include "common/Waiter.h"

#include <cstdlib>
#include <deque>

namespace Bench {

namespace {

constexpr char kSignalName[] = "Load";

class Observer {
public:
    Observer(RunOptions const& options, Progress& progress, unsigned number)
        : _connection(options), _progress(progress), _number(number)
    {
        checkSdBus(sd_bus_match_signal(_connection.get(), nullptr, nullptr, kSdBusPath, kSdBusInterface,
                                       kSignalName, come, this));
        _connection.process();
    }

    int fd() const { return checkSdBus(sd_bus_get_fd(_connection.get())); }
    void process() { _connection.process(); }

private:
    // A callback throws nothing: a failure ends the process, and std::terminate prints its text.
    static int come(sd_bus_message* signal, void* state, sd_bus_error*) noexcept
    {
        const SdBusBytes value(signal);
        Observer& observer = *static_cast<Observer*>(state);
        observer._progress.delivered(observer._number);
        return 0;
    }

    SdBusConnection _connection;
    Progress& _progress;
    const unsigned _number;
};

void sendSignal(SdBusConnection& connection, std::string const& payload)
{
    SdBusMessage signal;
    checkSdBus(
        sd_bus_message_new_signal(connection.get(), signal.fill(), kSdBusPath, kSdBusInterface, kSignalName));
    signal.append(payload.data(), payload.size());
    checkAlive(sd_bus_send(connection.get(), signal.get(), nullptr));
}

} // namespace

int runSdBusObservers(RunOptions const& options)
{
    Progress progress(options, options.clients, options.sockets.at(0));
    const std::unique_ptr<Waiter> waiter = Waiter::make("epoll");
    std::deque<Observer> observers;
    for (unsigned slot = 0; slot < options.clients; ++slot) {
        observers.emplace_back(options, progress, slot);
        waiter->add(slot, observers.back().fd());
    }
    return passForEver(options.control, [&] {
        waiter->wait();
        for (unsigned slot = 0; slot < observers.size(); ++slot) {
            if (waiter->ready(slot) & Waiter::kReadable)
                observers[slot].process();
        }
    });
}

int runSdBusSender(RunOptions const& options)
{
    const std::vector<std::string> payloads = makePayloads(options);
    Window window(options, options.sockets.at(0));
    SdBusConnection connection(options);
    return serveCommands(options.control, [&](Command const& command) {
        window.begin(command.count);
        while (!window.complete()) {
            while (window.takeOne())
                sendSignal(connection, payloads.at(command.payload));
            checkAlive(sd_bus_flush(connection.get()));
            if (!window.readProgress())
                std::exit(1);
        }
        return std::vector<float>();
    });
}

SdBusEvents::SdBusEvents(RunOptions const& options, unsigned observers, std::string const& broker)
    : SdBusSystem(options, kEventParts, broker)
{
    SocketPair progress;
    startClients(kObservers, "sd-bus-observers", observers, {progress.first.get()});
    startClients(kSender, "sd-bus-sender", 1, {progress.second.get()});
}

} // namespace Bench
