#include "tavix/ObjectDirectoryInternal.h"

#include <utility>

namespace Tavix {

int ObjectDirectory::addObject(std::string const& name, int clientId)
{
    auto inserted = _owners.emplace(name, clientId);
    if (!inserted.second)
        return 1;
    _names[clientId].insert(inserted.first->first);
    return 0;
}

int ObjectDirectory::findMatch(std::string_view name) const
{
    auto entry = _owners.find(name);
    return entry == _owners.end() ? -1 : entry->second;
}

int ObjectDirectory::removeObject(std::string const& name, int clientId)
{
    auto entry = _owners.find(name);
    if (entry == _owners.end())
        return 1;
    if (entry->second != clientId)
        return 2;
    auto names = _names.find(clientId);
    names->second.erase(entry->first);
    if (names->second.empty())
        _names.erase(names);
    _owners.erase(entry);
    return 0;
}

std::vector<std::string> ObjectDirectory::removeAllObjectsForClient(int clientId)
{
    std::vector<std::string> removed;
    auto names = _names.find(clientId);
    if (names == _names.end())
        return removed;
    for (std::string_view name : names->second)
        removed.push_back(std::move(_owners.extract(_owners.find(name)).key()));
    _names.erase(names);
    return removed;
}

void ObjectDirectory::getAllObjectsForClient(int clientId, std::string& text) const
{
    auto names = _names.find(clientId);
    if (names == _names.end())
        return;
    for (std::string_view name : names->second) {
        if (!text.empty())
            text += "\n\t\t";
        text += name;
    }
}

} // namespace Tavix
