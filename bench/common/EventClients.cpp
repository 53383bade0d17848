#include "common/EventClients.h"

#include "common/Client.h"
#include "common/Control.h"
#include "common/Progress.h"

#include <tavix/elements/StringElem.h>

#include <memory>
#include <unistd.h>

namespace Bench {

namespace {

constexpr char kObjectName[] = "bench";
constexpr char kEventName[] = "load";

class Observer : public Tavix::ObjectEventObserver {
public:
    Observer(Progress& progress, unsigned number) : _progress(progress), _number(number) {}

    // A loop's callback throws nothing: a failure ends the process, and std::terminate prints its text.
    void event(std::string, std::string, Tavix::Element* data) noexcept override
    {
        if (!_checked)
            checkValue(data);
        _progress.delivered(_number);
    }

private:
    // Once: a wrong value would flatter the figures, and looking at each would spoil them.
    void checkValue(Tavix::Element* data)
    {
        if (!data || data->stringValue().find_first_not_of('x') != std::string::npos)
            fail("an event has not the expected value");
        _checked = true;
    }

    Progress& _progress;
    const unsigned _number;
    bool _checked = false;
};

// One connection of its own, on the loop that all observers share.
struct ObservingClient : Client {
    ObservingClient(RunOptions const& options, SharedPtr<Tavix::PollLoopIf> const& loop, Progress& progress,
                    unsigned number)
        : Client(options, loop), observer(progress, number)
    {
        check(proxy.addObserver(kObjectName, kEventName, &observer));
        roundTrip(proxy);
    }

    Observer observer;
};

std::unique_ptr<Tavix::Element> makeValue(unsigned payload)
{
    return std::unique_ptr<Tavix::Element>(new Tavix::StringElem(std::string(payload, 'x')));
}

class Sender {
public:
    explicit Sender(RunOptions const& options) : _client(options), _window(options, options.sockets.at(0))
    {
        for (unsigned payload : options.sizes)
            _values.push_back(makeValue(payload));
        Tavix::PollLoopIf& loop = *_client.loop;
        if (loop.newSource(_window.fd(), &_source) != 0 ||
            loop.sourceAddWatch(_source, Tavix::kReadWatch) != 0 ||
            loop.addSource(_source, progressCame, this) != 0)
            fail("the progress cannot be watched");
    }

    Sender(Sender const&) = delete;
    Sender& operator=(Sender const&) = delete;

    ~Sender()
    {
        _client.loop->removeSource(_source);
        _client.loop->deleteSource(_source);
    }

    void send(Command const& command)
    {
        Tavix::Element* value = _values.at(command.payload).get();
        _window.begin(command.count);
        while (!_window.complete()) {
            while (_window.takeOne())
                check(_client.proxy.sendEvent(kObjectName, kEventName, value));
            _client.loop->iterate();
        }
    }

private:
    static void progressCame(void**, void* sender) noexcept
    {
        if (!static_cast<Sender*>(sender)->_window.readProgress())
            _exit(1);
    }

    Client _client;
    Window _window;
    void** _source = nullptr;
    std::vector<std::unique_ptr<Tavix::Element>> _values;
};

} // namespace

int runSender(RunOptions const& options)
{
    Sender sender(options);
    return serveCommands(options.control, [&](Command const& command) {
        sender.send(command);
        return std::vector<float>();
    });
}

int runObservers(RunOptions const& options)
{
    SharedPtr<Tavix::PollLoopIf> loop(makeLoop(options.clientLoop));
    Progress progress(options, options.clients, options.sockets.at(0));
    std::vector<std::unique_ptr<ObservingClient>> clients;
    for (unsigned number = 0; number < options.clients; ++number)
        clients.push_back(std::make_unique<ObservingClient>(options, loop, progress, number));
    reportReady(options.control);
    while (clients.front()->proxy.isConnected())
        loop->iterate();
    return 0;
}

int runStuck(RunOptions const& options)
{
    SharedPtr<Tavix::PollLoopIf> loop(makeLoop(options.clientLoop));
    Progress nobody(options, options.clients, -1);
    std::vector<std::unique_ptr<ObservingClient>> clients;
    for (unsigned number = 0; number < options.clients; ++number)
        clients.push_back(std::make_unique<ObservingClient>(options, loop, nobody, number));
    return standStill(options.control);
}

Frame captureEvent(unsigned payload)
{
    LoneProxy sender;
    check(sender.proxy.sendEvent(kObjectName, kEventName, makeValue(payload).get()));
    return sender.readFrame();
}

} // namespace Bench
