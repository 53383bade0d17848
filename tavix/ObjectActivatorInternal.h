#ifndef TAVIX_OBJECTACTIVATORINTERNAL_H
#define TAVIX_OBJECTACTIVATORINTERNAL_H

#include "tavix/ObjectDirectoryInternal.h"
#include "tavix/ProviderProcessesInternal.h"

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

// The objects that are started when they are first called: which program or system service provides a name,
// and how far its start has come. Several names may have one provider. Used on the bus's loop thread only.
//
//     idle -> activating   a call came and the provider was started; every name of its command moves
//     activating -> active the name has registered
//     active -> idle       the name has left the directory
//
// Nothing else moves a state, also not the provider's end: a name that never registers stays activating,
// until the configuration is read anew.
class ObjectActivator {
public:
    struct ActivationEntry {
        enum Type { exec = 0, service = 1 };
        enum State { idle = 0, activating = 1, active = 2 };

        std::string command; // the path of an executable, or the name of a system service
        Type type;
        State state;
    };
    using State = ActivationEntry::State;

    // "[unknown]" for any other value.
    static char const* typeToString(ActivationEntry::Type type);
    static char const* stateToString(State state);

    // Shares the loop. Lends directory, which says what is registered already when a provider starts.
    ObjectActivator(SharedPtr<PollLoopIf> const& loop, ObjectDirectory const& directory)
        : _directory(directory), _processes(loop)
    {
    }

    // Starts the provider of an idle name. True when the caller is to wait for the object; false without an
    // entry, or when the start failed.
    bool activate(std::string_view name);
    // The object has registered, or has gone.
    void activated(std::string_view name);
    void deactivated(std::string_view name);

    // Add an idle entry, in place of one that is there.
    void addEntry(std::string const& name, std::string const& command);
    void addEntryService(std::string const& name, std::string const& service);
    void removeAllEntries() { _entries.clear(); }
    // Adds what the files of a directory say. False only when the directory cannot be read.
    bool loadConfig(char const* directory);

    // The state in words, null without an entry.
    char const* getState(std::string_view name) const;
    // Whatever the types and the states before.
    void markAllWithCommand(std::string const& command, State const& state);
    // The names whose state is not active, in name order.
    std::vector<std::string> listInactive() const;
    // Writes the table for people to read.
    void dumpStatus(FILE* stream) const;

private:
    bool start(std::string const& command, ActivationEntry::Type type);

    ObjectDirectory const& _directory;
    std::map<std::string, ActivationEntry, std::less<>> _entries;
    ProviderProcesses _processes;
};

} // namespace Tavix

#endif
