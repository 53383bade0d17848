#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SESSION_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SESSION_H

#include "tavix-bus/Options.h"

// Serves on a bus of its own, in a new directory, for as long as a command runs, and answers the command's
// exit status: 128 + number when a signal ended it.
//
// Standard input and output are the command's alone. What the bus prints, and what the services that it starts
// print, goes to standard error, and those services read nothing.
int runSession(Options const& options);

#endif
