#include "tavix/ActivationConfigInternal.h"
#include "tavix/ObjectActivatorInternal.h"

namespace Tavix {

char const* ObjectActivator::typeToString(ActivationEntry::Type type)
{
    switch (type) {
    case ActivationEntry::exec:
        return "exec";
    case ActivationEntry::service:
        return "service";
    }
    return "[unknown]";
}

char const* ObjectActivator::stateToString(State state)
{
    switch (state) {
    case ActivationEntry::idle:
        return "idle";
    case ActivationEntry::activating:
        return "activating";
    case ActivationEntry::active:
        return "active";
    }
    return "[unknown]";
}

bool ObjectActivator::activate(std::string_view name)
{
    auto entry = _entries.find(name);
    if (entry == _entries.end())
        return false;
    ActivationEntry const& provider = entry->second;
    if (provider.state != ActivationEntry::idle)
        return true;
    markAllWithCommand(provider.command, ActivationEntry::activating);
    if (start(provider.command, provider.type))
        return true;
    markAllWithCommand(provider.command, ActivationEntry::idle);
    return false;
}

bool ObjectActivator::start(std::string const& command, ActivationEntry::Type type)
{
    ProviderProcesses::Names names;
    for (auto const& entry : _entries) {
        if (entry.second.command == command && _directory.findMatch(entry.first) == -1)
            names.insert(entry.first);
    }
    return type == ActivationEntry::service ? _processes.startService(command, std::move(names))
                                            : _processes.startProgram(command, std::move(names));
}

void ObjectActivator::activated(std::string_view name)
{
    _processes.registered(name);
    auto entry = _entries.find(name);
    if (entry != _entries.end() && entry->second.state == ActivationEntry::activating)
        entry->second.state = ActivationEntry::active;
}

void ObjectActivator::deactivated(std::string_view name)
{
    auto entry = _entries.find(name);
    if (entry != _entries.end() && entry->second.state == ActivationEntry::active)
        entry->second.state = ActivationEntry::idle;
}

void ObjectActivator::addEntry(std::string const& name, std::string const& command)
{
    _entries[name] = {command, ActivationEntry::exec, ActivationEntry::idle};
}

void ObjectActivator::addEntryService(std::string const& name, std::string const& service)
{
    _entries[name] = {service, ActivationEntry::service, ActivationEntry::idle};
}

bool ObjectActivator::loadConfig(char const* directory)
{
    return ActivationConfig(*this).load(directory);
}

char const* ObjectActivator::getState(std::string_view name) const
{
    auto entry = _entries.find(name);
    return entry == _entries.end() ? nullptr : stateToString(entry->second.state);
}

void ObjectActivator::markAllWithCommand(std::string const& command, State const& state)
{
    for (auto& entry : _entries) {
        if (entry.second.command == command)
            entry.second.state = state;
    }
}

std::vector<std::string> ObjectActivator::listInactive() const
{
    std::vector<std::string> names;
    for (auto const& entry : _entries) {
        if (entry.second.state != ActivationEntry::active)
            names.push_back(entry.first);
    }
    return names;
}

void ObjectActivator::dumpStatus(FILE* stream) const
{
    std::fputs("[\n", stream);
    for (auto const& entry : _entries) {
        std::fprintf(stream,
                     "    {\n"
                     "        \"name\": \"%s\",\n"
                     "        \"%s\": \"%s\",\n"
                     "        # %s\n"
                     "    },\n",
                     entry.first.c_str(), typeToString(entry.second.type), entry.second.command.c_str(),
                     stateToString(entry.second.state));
    }
    std::fputs("]\n", stream);
}

} // namespace Tavix
