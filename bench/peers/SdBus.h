#ifndef TAVIX_BENCH_PEERS_SDBUS_H
#define TAVIX_BENCH_PEERS_SDBUS_H

#include "Options.h"
#include "common/System.h"

#include <systemd/sd-bus.h>

namespace Bench {

// sd-bus on a broker of its own, with the parts of CallSystem and EventSystem. A payload is a byte array.

constexpr char kDbusDaemon[] = "dbus-daemon";
constexpr char kDbusBroker[] = "dbus-broker";

// Whether a program can be started by its name.
bool programIsThere(char const* name);

class SdBusSystem : public System {
protected:
    // Starts the broker: one of the two names.
    SdBusSystem(RunOptions const& options, unsigned parts, std::string const& broker);

private:
    struct Closing {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    void startDbusDaemon();
    void startDbusBroker();

    std::unique_ptr<sd_bus, Closing> _controller; // of dbus-broker
};

class SdBusCalls : public SdBusSystem {
public:
    SdBusCalls(RunOptions const& options, std::string const& broker);
};

class SdBusEvents : public SdBusSystem {
public:
    SdBusEvents(RunOptions const& options, unsigned observers, std::string const& broker);
};

// The roles. Each runs until the broker or its parent goes.
int runSdBusOwner(RunOptions const& options);
int runSdBusCaller(RunOptions const& options);
int runSdBusObservers(RunOptions const& options); // one socket: where progress is told
int runSdBusSender(RunOptions const& options);    // one socket: the observers' progress

} // namespace Bench

#endif
