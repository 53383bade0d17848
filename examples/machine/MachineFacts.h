#ifndef TAVIX_EXAMPLES_MACHINE_MACHINEFACTS_H
#define TAVIX_EXAMPLES_MACHINE_MACHINEFACTS_H

#include <tavix/tavix.h>

#include <string>

// What this machine says of itself through /proc (proc(5)) and the file system. Every function gives back a
// new tree, or a new ExceptionElem that says what went wrong.

// Codes of the exceptions. They begin above those of RemoteProxyResult.
enum FactError { kBadArgument = 100, kSystemError = 101 };

// {"seconds": since the start, "idleSeconds": of all processors together}
Tavix::Element* readUptime();

// {"1min", "5min", "15min": tasks that want to run, on average; "running", "tasks": now}
Tavix::Element* readLoad();

// {"totalKb", "availableKb", "freeKb", "swapTotalKb", "swapFreeKb"}
Tavix::Element* readMemory();

// The processes with most memory, the largest first: [{"pid", "name", "residentKb"}, ...]
Tavix::Element* readProcesses(unsigned count);

// The entries by name: [{"name", "kind": "file", "directory", "link" or "other"; "size": of a file}, ...]
Tavix::Element* readDirectory(std::string const& path);

// The time that the processors have spent since the start, in units of the kernel's clock.
struct CpuTimes {
    double busy = 0;
    double total = 0;
};
bool readCpuTimes(CpuTimes& times);

#endif
