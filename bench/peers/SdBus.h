#ifndef TAVIX_BENCH_PEERS_SDBUS_H
#define TAVIX_BENCH_PEERS_SDBUS_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// sd-bus on a dbus-daemon of its own, with the parts of CallSystem and EventSystem. A payload is a byte array.

// Whether there is a dbus-daemon to start.
bool dbusDaemonIsThere();

class SdBusSystem : public System {
protected:
    // Starts the daemon.
    SdBusSystem(RunOptions const& options, unsigned parts);
};

class SdBusCalls : public SdBusSystem {
public:
    explicit SdBusCalls(RunOptions const& options);
};

class SdBusEvents : public SdBusSystem {
public:
    SdBusEvents(RunOptions const& options, unsigned observers);
};

// The roles. Each runs until the daemon or its parent goes.
int runSdBusOwner(RunOptions const& options);
int runSdBusCaller(RunOptions const& options);
int runSdBusObservers(RunOptions const& options); // one socket: where progress is told
int runSdBusSender(RunOptions const& options);    // one socket: the observers' progress

} // namespace Bench

#endif
