#ifndef TAVIX_BENCH_CALLS_OPTIONS_H
#define TAVIX_BENCH_CALLS_OPTIONS_H

#include <string>
#include <vector>

namespace Bench {

// What the command line says. A child process is started with the same arguments and --role in front, so
// that every process of a run knows the same.
struct Options {
    std::vector<unsigned> sizes{16, 1024, 65536, 190 * 1024}; // bytes of the argument
    std::vector<unsigned> outstanding{1, 64};
    unsigned blocks = 31;
    unsigned calls = 0; // per block; 0: as many as fill blockMilliseconds
    unsigned blockMilliseconds = 20;
    unsigned timeoutSeconds = 60; // for one block, and for a process to start
    int cpu = 0;                  // -1: not pinned
    int bufferSize = 0;           // of every socket of both systems; 0: the system's default
    bool binary = false;          // the argument is a BinaryElem, else a StringElem
    bool echo = true;             // the reply is the argument, else a null
    bool token = false;           // the object answers through its MethodInvocation, else by callMethod
    bool countSyscalls = false;
    std::string floorWait = "poll"; // or epoll, select
    std::string bus;                // the broker's program; empty: the one beside this program
    bool embeddedBus = false;       // a TavixBus in a process of this program instead
    std::vector<std::string> wrap;  // "role=command": the role's process is started under this command

    // Of child processes only.
    std::string role;
    int control = -1;
    std::vector<int> sockets;
};

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
