#ifndef TAVIX_PROGRAMS_TAVIXCTL_BUSOBJECTS_H
#define TAVIX_PROGRAMS_TAVIXCTL_BUSOBJECTS_H

#include "tavixctl/BusClient.h"

#include <string>
#include <vector>

// A name that somebody serves, or one that the bus would start a service for.
struct BusObject {
    std::string name;
    bool running;
    std::string owner; // the connection as the bus names it; only when asked for, and of a running object
};

// The objects of the bus in byte order, each name once.
ExitCode listObjects(BusClient& client, bool withOwners, std::vector<BusObject>& objects);

#endif
