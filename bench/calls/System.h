#ifndef TAVIX_BENCH_CALLS_SYSTEM_H
#define TAVIX_BENCH_CALLS_SYSTEM_H

#include "Control.h"
#include "Options.h"
#include "Process.h"

#include <array>
#include <memory>
#include <string>

namespace Bench {

// One of the two things compared: a broker, a caller and an owner, each in a process of its own.
class System {
public:
    enum Part { kBroker, kCaller, kOwner, kParts };

    virtual ~System() = default;

    // Has the caller make a block of calls and waits for its figures.
    Outcome run(Command const& command);

    Process const& process(Part part) const { return *_processes[part]; }

protected:
    explicit System(Options const& options) : _options(options) {}

    // Starts this program in a role; waitReady waits until it can be used.
    void start(Part part, std::string const& role, std::vector<int> const& sockets);
    void waitReady(Part part);
    // The command line of a process, with what --wrap puts in front of it.
    std::vector<std::string> wrapped(std::string const& role, std::vector<std::string> arguments) const;

    Options const& _options;
    std::array<std::unique_ptr<Process>, kParts> _processes;

private:
    std::array<Descriptor, kParts> _controls;
};

// A directory that is removed with its owner.
class PrivateDirectory {
public:
    PrivateDirectory();
    ~PrivateDirectory();
    std::string const& path() const { return _path; }

private:
    std::string _path;
};

// tavix-bus and two clients over the library, with the bus's socket in a private directory.
class TavixSystem : public System {
public:
    explicit TavixSystem(Options const& options);

private:
    void startBus();

    PrivateDirectory _directory; // outlives the processes
};

// The floor, over socket pairs.
class FloorSystem : public System {
public:
    explicit FloorSystem(Options const& options);
};

} // namespace Bench

#endif
