#ifndef TAVIX_EVENTOBSERVERSINTERNAL_H
#define TAVIX_EVENTOBSERVERSINTERNAL_H

#include "tavix/elements/Element.h"

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tavix {

struct ResponseData;
class TavixProxy;

// Which clients have asked for which pair of object name and event name. Names match byte for byte. A pair
// needs no object to exist. No client list and no object's map of events is ever empty, and a client stands
// in a list once. Used on the bus's loop thread only.
//
// An object hears of the first observer of an event and of the last one's leaving, by method calls that
// start or stop nothing here: nobody waits for their answers. What the object answers to the first is kept
// and handed back with the last.
class EventObservers {
public:
    // Lends proxy, which makes the calls.
    explicit EventObservers(TavixProxy* proxy);
    ~EventObservers();
    EventObservers(EventObservers const&) = delete;
    EventObservers& operator=(EventObservers const&) = delete;

    // 0 added; 1 this client is listed already.
    int addObserver(std::string const& objName, std::string const& event, int clientId);
    // 0 removed; 1 no such object, event or client in the list.
    int removeObserver(std::string const& objName, std::string const& event, int clientId);
    // Lends the clients in order of registration until the table changes; null when there are none.
    std::vector<int> const* findObserverList(std::string_view objName, std::string_view event) const;
    // Removes the client from every list, in the order of object and event, at the cost of those lists.
    void purgeClient(int clientId);
    // Tells an object that has just been registered of its events that are observed already, in name order.
    void sharedObjectAdded(std::string const& objName);
    // Appends "object.event" for each pair that the client observes, "\n\t\t" before each unless text is
    // empty.
    void getAllEventsForClient(int clientId, std::string& text) const;

private:
    struct Entry {
        std::vector<int> clients;
        std::unique_ptr<Element> firstObserverResult; // null until the object has answered
    };
    using Events = std::map<std::string, Entry, std::less<>>;
    using Pair = std::pair<std::string_view, std::string_view>; // the keys of an object and an event

    struct FirstObserverCall {
        EventObservers* observers;
        std::string objName;
        std::string event;
        std::list<FirstObserverCall>::iterator place;
    };

    void callFirstObserverAdded(std::string const& objName, std::string const& event);
    static void firstObserverAddedCallback(ResponseData const* response, void* call);
    void _updateObserverEntry(std::string const& objName, std::string const& event, Element* element);
    void callLastObserverRemoved(std::string const& objName, std::string const& event,
                                 std::unique_ptr<Element> firstObserverResult);

    TavixProxy* const _proxy;
    std::map<std::string, Events, std::less<>> _objects;
    std::map<int, std::set<Pair>> _pairs; // by client; the views look at the keys of the table
    std::list<FirstObserverCall> _calls;  // not answered yet
};

} // namespace Tavix

#endif
