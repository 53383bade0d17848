#include "tavix/EventObserversInternal.h"

#include <algorithm>

namespace Tavix {

int EventObservers::addObserver(std::string const& objName, std::string const& event, int clientId)
{
    std::vector<int>& clients = _objects[objName][event];
    if (std::find(clients.begin(), clients.end(), clientId) != clients.end())
        return 1;
    clients.push_back(clientId);
    return 0;
}

int EventObservers::removeObserver(std::string const& objName, std::string const& event, int clientId)
{
    auto object = _objects.find(objName);
    if (object == _objects.end())
        return 1;
    auto entry = object->second.find(event);
    if (entry == object->second.end())
        return 1;
    std::vector<int>& clients = entry->second;
    auto client = std::find(clients.begin(), clients.end(), clientId);
    if (client == clients.end())
        return 1;
    clients.erase(client);
    if (clients.empty())
        object->second.erase(entry);
    if (object->second.empty())
        _objects.erase(object);
    return 0;
}

std::vector<int> const* EventObservers::findObserverList(std::string_view objName,
                                                         std::string_view event) const
{
    auto object = _objects.find(objName);
    if (object == _objects.end())
        return nullptr;
    auto entry = object->second.find(event);
    return entry == object->second.end() ? nullptr : &entry->second;
}

void EventObservers::purgeClient(int clientId)
{
    for (auto object = _objects.begin(); object != _objects.end();) {
        Events& events = object->second;
        for (auto entry = events.begin(); entry != events.end();) {
            std::vector<int>& clients = entry->second;
            clients.erase(std::remove(clients.begin(), clients.end(), clientId), clients.end());
            entry = clients.empty() ? events.erase(entry) : std::next(entry);
        }
        object = events.empty() ? _objects.erase(object) : std::next(object);
    }
}

void EventObservers::getAllEventsForClient(int clientId, std::string& text) const
{
    for (auto const& object : _objects) {
        for (auto const& entry : object.second) {
            if (std::find(entry.second.begin(), entry.second.end(), clientId) == entry.second.end())
                continue;
            if (!text.empty())
                text += "\n\t\t";
            text += object.first + "." + entry.first;
        }
    }
}

} // namespace Tavix
