#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SERVICE_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SERVICE_H

#include "tavix-bus/Options.h"

// Serves until SIGTERM or SIGINT. The exit status.
int runService(Options const& options);

#endif
