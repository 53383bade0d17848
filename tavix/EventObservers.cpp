// The calls to objects are made last in every operation, with nothing held of the table: a call whose write
// finds the connection of the bus's own proxy broken completes all open calls at once, and comes back here.
#include "tavix/DescriptorsInternal.h"
#include "tavix/EventObserversInternal.h"
#include "tavix/ResponseData.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <algorithm>

namespace Tavix {

EventObservers::EventObservers(TavixProxy* proxy) : _proxy(proxy)
{
}

EventObservers::~EventObservers() = default;

int EventObservers::addObserver(std::string const& objName, std::string const& event, int clientId)
{
    auto object = _objects.try_emplace(objName).first;
    auto entry = object->second.try_emplace(event).first;
    if (!_pairs[clientId].emplace(object->first, entry->first).second)
        return 1;
    std::vector<int>& clients = entry->second.clients;
    clients.push_back(clientId);
    if (clients.size() == 1)
        callFirstObserverAdded(objName, event);
    return 0;
}

int EventObservers::removeObserver(std::string const& objName, std::string const& event, int clientId)
{
    auto pairs = _pairs.find(clientId);
    if (pairs == _pairs.end() || pairs->second.erase(Pair(objName, event)) == 0)
        return 1;
    if (pairs->second.empty())
        _pairs.erase(pairs);
    auto object = _objects.find(objName);
    auto entry = object->second.find(event);
    std::vector<int>& clients = entry->second.clients;
    clients.erase(std::find(clients.begin(), clients.end(), clientId));
    if (!clients.empty())
        return 0;
    std::unique_ptr<Element> firstObserverResult = std::move(entry->second.firstObserverResult);
    object->second.erase(entry);
    if (object->second.empty())
        _objects.erase(object);
    callLastObserverRemoved(objName, event, std::move(firstObserverResult));
    return 0;
}

std::vector<int> const* EventObservers::findObserverList(std::string_view objName,
                                                         std::string_view event) const
{
    auto object = _objects.find(objName);
    if (object == _objects.end())
        return nullptr;
    auto entry = object->second.find(event);
    return entry == object->second.end() ? nullptr : &entry->second.clients;
}

void EventObservers::purgeClient(int clientId)
{
    for (auto pairs = _pairs.find(clientId); pairs != _pairs.end(); pairs = _pairs.find(clientId)) {
        const Pair first = *pairs->second.begin();
        removeObserver(std::string(first.first), std::string(first.second), clientId);
    }
}

void EventObservers::sharedObjectAdded(std::string const& objName)
{
    std::vector<std::string> events;
    auto object = _objects.find(objName);
    if (object == _objects.end())
        return;
    for (auto const& entry : object->second)
        events.push_back(entry.first);
    for (std::string const& event : events)
        callFirstObserverAdded(objName, event);
}

void EventObservers::getAllEventsForClient(int clientId, std::string& text) const
{
    auto pairs = _pairs.find(clientId);
    if (pairs == _pairs.end())
        return;
    for (Pair const& pair : pairs->second) {
        if (!text.empty())
            text += "\n\t\t";
        text.append(pair.first).append(".").append(pair.second);
    }
}

// The record of the call is ours until it is answered, so that it goes with the table when it never is.
void EventObservers::callFirstObserverAdded(std::string const& objName, std::string const& event)
{
    _calls.push_front({this, objName, event, {}});
    const auto place = _calls.begin();
    place->place = place;
    StringElem name(event);
    if (_proxy->callMethodAsync(objName, "firstObserverAdded", &name, firstObserverAddedCallback, &*place) !=
        PROXY_OK)
        _calls.erase(place);
}

void EventObservers::firstObserverAddedCallback(ResponseData const* response, void* call)
{
    FirstObserverCall& answered = *static_cast<FirstObserverCall*>(call);
    EventObservers& self = *answered.observers;
    TvxResult removed;
    self._updateObserverEntry(answered.objName, answered.event,
                              response->map->removeChild("result", removed));
    self._calls.erase(answered.place);
}

// Takes element. The entry may have gone meanwhile, or have been made anew.
void EventObservers::_updateObserverEntry(std::string const& objName, std::string const& event,
                                          Element* element)
{
    std::unique_ptr<Element> result(element);
    auto object = _objects.find(objName);
    if (object == _objects.end())
        return;
    auto entry = object->second.find(event);
    if (entry != object->second.end())
        entry->second.firstObserverResult = std::move(result);
}

// What the object once answered may be too large or too deep to be sent inside a list, and a descriptor's
// number is of no use to anybody: then the object hears of its last observer's leaving with a null instead.
void EventObservers::callLastObserverRemoved(std::string const& objName, std::string const& event,
                                             std::unique_ptr<Element> firstObserverResult)
{
    auto tell = [&](Element* result) {
        ListElem params;
        params.add(event)->add(result);
        return _proxy->callMethodAsync(objName, "lastObserverRemoved", &params, nullptr, nullptr);
    };
    if (!firstObserverResult || holdsDescriptor(firstObserverResult.get()) ||
        tell(firstObserverResult.release()) != PROXY_OK)
        tell(new NullElem);
}

} // namespace Tavix
