#ifndef TAVIX_EXAMPLES_MACHINE_REPORT_H
#define TAVIX_EXAMPLES_MACHINE_REPORT_H

#include <tavix/tavix.h>

// Writes uptime, load and memory, one line of JSON each, into the open descriptor under "to" in params. Gives back the
// number of bytes, or an ExceptionElem.
Tavix::Element* writeReport(Tavix::Element* params);

#endif
