#ifndef TAVIX_BENCH_COMMON_RUNOPTIONS_H
#define TAVIX_BENCH_COMMON_RUNOPTIONS_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Bench {

// What the programs that compare two systems of processes have in common. A child process is started with the
// same arguments and --role in front, so that every process of a run knows the same.
struct RunOptions {
    std::vector<unsigned> sizes; // bytes of an argument or an event's value
    unsigned window = 16;        // events in flight

    unsigned blocks = 31;
    unsigned calls = 0; // calls or events per block; 0: as many as fill blockMilliseconds
    unsigned blockMilliseconds = 20;
    unsigned timeoutSeconds = 60; // for one block, and for a process to start
    int cpu = 0;                  // -1: not pinned
    bool batch = false;           // no process takes the CPU from another because it was woken
    int bufferSize = 0;           // of every socket of both systems; 0: the system's default
    bool countSyscalls = false;
    std::string loop;                  // the broker's: select, epoll or glib; empty: its own choice
    std::string clientLoop = "select"; // that connections of one process share
    std::string floorWait = "poll";    // or epoll, select
    std::string bus;                   // the broker's program; empty: the one beside this program
    bool embeddedBus = false;          // a TavixBus in a process of this program instead
    std::vector<std::string> wrap;     // "role=command": the role's process is started under this command

    // Of child processes only.
    std::string role;
    int control = -1;
    std::vector<int> sockets;
    std::string directory; // of the system's broker
    unsigned clients = 0;  // how many connections the process makes, where a role has several
};

// what: "calls" or "events", the option's name too. roles: the names that --wrap knows.
void addRunOptions(CLI::App& app, RunOptions& options, char const* what, char const* roles);

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseArguments(CLI::App& app, int argc, char** argv, int& exitCode);

// Sets the CPU and the scheduling of this process and of the children to come.
void placeProcesses(RunOptions const& options);

// Events that one acknowledgement stands for; blocks are multiples of it.
inline unsigned acknowledgedAtOnce(RunOptions const& options)
{
    return options.window > 1 ? options.window / 2 : 1;
}

// The CPU and its scheduling, the buffers.
std::string describeRun(RunOptions const& options);

} // namespace Bench

#endif
