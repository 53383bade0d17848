#ifndef TAVIX_EVENTOBSERVERSINTERNAL_H
#define TAVIX_EVENTOBSERVERSINTERNAL_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

// Which clients have asked for which pair of object name and event name. Names match byte for byte. A pair
// needs no object to exist. No client list and no object's map of events is ever empty, and a client stands
// in a list once. Used on the bus's loop thread only.
class EventObservers {
public:
    // 0 added; 1 this client is listed already.
    int addObserver(std::string const& objName, std::string const& event, int clientId);
    // 0 removed; 1 no such object, event or client in the list.
    int removeObserver(std::string const& objName, std::string const& event, int clientId);
    // Lends the clients in order of registration until the table changes; null when there are none.
    std::vector<int> const* findObserverList(std::string_view objName, std::string_view event) const;
    // Removes the client from every list.
    void purgeClient(int clientId);
    // Appends "object.event" for each pair that the client observes, "\n\t\t" before each unless text is
    // empty.
    void getAllEventsForClient(int clientId, std::string& text) const;

private:
    using Events = std::map<std::string, std::vector<int>, std::less<>>;
    std::map<std::string, Events, std::less<>> _objects;
};

} // namespace Tavix

#endif
