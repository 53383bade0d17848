#include "tavix-bus/Service.h"

#include "tavix-bus/Broker.h"
#include "tavix-bus/Listeners.h"
#include "tavix-bus/ServiceManager.h"

#include <csignal>
#include <cstdio>

namespace {

int fail(std::string const& error)
{
    std::fprintf(stderr, "tavix-bus: %s\n", error.c_str());
    return kFailed;
}

} // namespace

int runService(Options const& options)
{
    ServiceManager manager;
    Listeners listeners;
    std::string error;
    if (!listeners.prepare(options, manager, error))
        return fail(error);
    Broker broker{SIGTERM, SIGINT, SIGHUP}; // before the socket file is there to be left behind
    bool stopping = false;
    auto handleSignal = [&](Signals::Received signal) {
        if (signal.number != SIGHUP) {
            stopping = true;
            return;
        }
        manager.tellReloading();
        broker.reload();
        manager.tellReady();
    };
    if (!listeners.open(options, error) ||
        !broker.start(options, listeners.local(), listeners.tcp(), handleSignal, error))
        return fail(error);
    listeners.announce();
    manager.tellReady();
    while (!stopping)
        broker.iterate();
    manager.tellStopping();
    listeners.withdraw();
    return kStopped;
}
