#ifndef TAVIX_BENCH_COMMON_SYSTEM_H
#define TAVIX_BENCH_COMMON_SYSTEM_H

#include "common/Control.h"
#include "common/PrivateDirectory.h"
#include "common/Process.h"
#include "common/RunOptions.h"

#include <memory>
#include <string>
#include <vector>

namespace Bench {

// One of the things compared: a broker and its clients, each in a process of its own.
class System {
public:
    // The first two parts; the others are the derived classes'.
    enum : unsigned { kBroker, kDriver };

    virtual ~System() = default;

    // Has the driver make a block and waits for its figures.
    Outcome run(Command const& command);

    Process const& process(unsigned part) const { return *_processes.at(part); }
    unsigned parts() const { return static_cast<unsigned>(_processes.size()); }
    RunOptions const& options() const { return _options; }

protected:
    System(RunOptions const& options, unsigned parts);

    // Starts this program in a role, with more arguments behind those of this process; waitReady waits until
    // it can be used.
    void start(unsigned part, std::string const& role, std::vector<int> const& sockets,
               std::vector<std::string> const& more = {});
    void waitReady(unsigned part);
    // Does both, for a process that makes so many connections to the broker.
    void startClients(unsigned part, std::string const& role, unsigned clients,
                      std::vector<int> const& sockets = {});
    // Makes a private directory, which outlives the processes. All children started later know it.
    std::string const& makeDirectory();
    // Starts another program. kept and output as in Process.
    void startProgram(unsigned part, std::string const& role, std::vector<std::string> const& arguments,
                      std::vector<int> const& kept, int output = -1);
    // Starts another program as the broker and waits for the first line that it writes.
    void startBroker(std::string const& role, std::vector<std::string> const& arguments);
    // Starts tavix-bus, with its socket in a private directory. loop: as RunOptions::loop.
    void startBus(std::string const& loop);

private:
    // The command line of a process, with what --wrap puts in front of it.
    std::vector<std::string> wrapped(std::string const& role, std::vector<std::string> arguments) const;
    std::vector<std::string> busArguments(std::string const& loop) const;

    RunOptions const& _options;
    std::unique_ptr<PrivateDirectory> _directory; // outlives the processes
    Descriptor _busOutput;                        // stays open: the bus says more than its first line
    std::vector<std::unique_ptr<Process>> _processes;
    std::vector<Descriptor> _controls;
};

// The role "bus": a TavixBus in a process of this program.
int runEmbeddedBus(RunOptions const& options);

// Counts the system calls of each part, by the block's count, in one more block. False, after a line on
// standard error, when strace cannot be used.
bool countSyscalls(System& system, Command const& command, std::vector<double>& perCall);

} // namespace Bench

#endif
