#ifndef TAVIX_PROVIDERPROCESSESINTERNAL_H
#define TAVIX_PROVIDERPROCESSESINTERNAL_H

#include "tavix/PollLoopIf.h"
#include "tavix/foundation/SharedPtr.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

// The processes that the bus has started. Each is watched by a descriptor of its own on the bus's loop, and
// reaped when it ends; no signal handler is involved and no other child of the process is touched. One for
// which there is no such descriptor (at the descriptor limit, and before Linux 5.3) is looked after at the
// next start, registration or end of another.
//
// The end of a process changes nothing. When it comes before every name that the process was started for has
// registered, standard output has a line.
class ProviderProcesses {
public:
    using Names = std::set<std::string, std::less<>>;

    // Shares the loop.
    explicit ProviderProcesses(SharedPtr<PollLoopIf> const& loop) : _loop(loop) {}
    // The processes go on, unwatched: those that end while this process lives on remain zombies until it ends.
    ~ProviderProcesses();
    ProviderProcesses(ProviderProcesses const&) = delete;
    ProviderProcesses& operator=(ProviderProcesses const&) = delete;

    // Start a process for the names, none of which is registered: a program without arguments, or the command
    // that asks the service manager for a service. True when there is a process; that it could not run its
    // program shows in how it ends. False after a message on standard error.
    bool startProgram(std::string const& path, Names names);
    bool startService(std::string const& service, Names names);

    // Somebody has registered the name.
    void registered(std::string_view name);

private:
    struct Process {
        int pid;
        int fd;     // -1 when it is not watched
        int passes; // of the loop that found it ended, since one of its names registered
        std::string command;
        bool onlyAsks; // its success is the beginning of the provider, not its end
        Names missing; // have not registered since the start

        void registered(std::string_view name);
        bool reap() const;
    };

    static void endCallback(void** source, void* processes);
    void watch(Process&& process);
    void** makeSource(int fd);
    void handleEnd(void** source);
    void reapUnwatched();
    void forget(void** source);

    SharedPtr<PollLoopIf> _loop;
    std::map<void**, Process> _processes; // by the source of each
    std::vector<Process> _unwatched;
};

} // namespace Tavix

#endif
