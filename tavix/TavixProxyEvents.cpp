// Events: subscriptions, deliveries and the wait for an object.
//
// An observer may be removed at any moment, from another thread or from inside a call of any observer, and is
// not called once removeObserver has returned. A delivery works on a copy of the list,
// and every call of it looks whether its observer has been removed meanwhile (see Registration).

#include "tavix/Message.h"
#include "tavix/ObjectReadyObserver.h"
#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/MapElem.h"
#include "tavix/foundation/NodeAllocator.h"
#include "tavix/foundation/SingleThreaded.h"

#include <algorithm>
#include <utility>

namespace Tavix {

namespace {

// The observers of one event, as they stood in the table when it came.
class Delivery {
public:
    Delivery() = default;
    Delivery(Delivery const&) = delete;
    Delivery& operator=(Delivery const&) = delete;
    ~Delivery()
    {
        for (TavixProxy::EventObserverInfo* info : _observers)
            info->unref();
    }

    // number: what eventMemo has answered, or 0.
    void collect(ProxyPrivate& proxy, unsigned number, std::string_view objName, std::string_view event)
    {
        Ferrule::Guard<std::mutex> guard(proxy.tableLock);
        if (number == 0 || proxy.repeated.first != number) {
            auto entry = proxy.eventObservers.find(std::make_pair(objName, event));
            if (entry == proxy.eventObservers.end())
                return;
            proxy.repeated = {number, &entry->second};
        }
        std::vector<Info*> const& observers = proxy.repeated.second->observers;
        _observers.assign(observers.begin(), observers.end());
        for (TavixProxy::EventObserverInfo* info : _observers)
            info->ref();
    }

    bool isEmpty() const { return _observers.empty(); }

    void run(std::string objName, std::string event, std::string identity, Element* data)
    {
        for (size_t i = 0; i + 1 < _observers.size(); ++i)
            call(*_observers[i], objName, event, data, identity);
        if (!_observers.empty())
            call(*_observers.back(), std::move(objName), std::move(event), data, std::move(identity));
    }

private:
    using Info = TavixProxy::EventObserverInfo;

    // Copies the texts, or takes them.
    template <class Text>
    static void call(Info& info, Text&& objName, Text&& event, Element* data, Text&& identity)
    {
        const Registration::Call running(info);
        if (running)
            info.observer->event(std::forward<Text>(objName), std::forward<Text>(event), data,
                                 std::forward<Text>(identity));
    }

    std::vector<Info*, Ferrule::NodeAllocator<Info*>> _observers;
};

// A record that has been taken out of the table: it is retired behind every lock.
struct Retire {
    void operator()(TavixProxy::EventObserverInfo* info) const
    {
        info->retire();
        info->unref();
    }
};
using RetiredObserver = std::unique_ptr<TavixProxy::EventObserverInfo, Retire>;

std::string textOf(MapElem const* map, char const* key)
{
    Element* child = map->find(key);
    return child ? child->stringValue() : std::string();
}

} // namespace

RemoteProxyResult TavixProxy::addObserver(std::string objName, std::string event,
                                          ObjectEventObserver* observer)
{
    return observe(objName, event, new EventObserverInfo(observer), true);
}

// Takes info. keepUnsent: also when the bus could not be told. The table changes and the message to the bus
// is queued under one lock, so that two threads reach the bus in the order in which they changed the table.
// The message is written behind that lock: a write may find the connection broken, and then runs callbacks.
RemoteProxyResult TavixProxy::observe(std::string const& objName, std::string const& event,
                                      EventObserverInfo* info, bool keepUnsent)
{
    Registered<EventObserverInfo> own(info);
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    ObjectEventObserver const* const observer = info->observer;
    RetiredObserver unlisted;
    RemoteProxyResult result;
    {
        std::lock_guard<std::mutex> order(_private->subscriptionLock);
        {
            Ferrule::Guard<std::mutex> guard(_private->tableLock);
            ProxyPrivate::Subscription& subscription = _private->eventObservers[objName + event];
            if (subscription.find(observer) != subscription.observers.end())
                return PROXY_OBSERVER_ALREADY_EXISTS;
            const bool first = subscription.observers.empty();
            subscription.observers.push_back(own.get());
            (void)own.release();
            const unsigned linkId = _private->linkId;
            // On another connection than the last time the bus knows nothing of it.
            if (std::exchange(subscription.linkId, linkId) == linkId && !first)
                return PROXY_OK;
        }
        result = sendSubscription(AddObserver, objName, event);
        bool last;
        // Without a connection it never was listed, as far as the caller can tell.
        if (result == PROXY_CONNECTION_ERROR || (result != PROXY_OK && !keepUnsent))
            unlisted.reset(takeOutObserver(objName + event, observer, last));
    }
    sourceWrite();
    return result;
}

RemoteProxyResult TavixProxy::removeObserver(std::string objName, std::string event,
                                             ObjectEventObserver* observer)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    return endObservation(objName, event, observer, true);
}

// The record goes, whatever becomes of the message to the bus.
RemoteProxyResult TavixProxy::endObservation(std::string const& objName, std::string const& event,
                                             ObjectEventObserver* observer, bool tellTheBus)
{
    RetiredObserver info;
    RemoteProxyResult result = PROXY_OK;
    bool last = false;
    {
        std::lock_guard<std::mutex> order(_private->subscriptionLock);
        {
            Ferrule::Guard<std::mutex> guard(_private->tableLock);
            if (_private->eventObservers.count(objName + event) == 0)
                return PROXY_OBSERVER_NOT_FOUND;
        }
        info.reset(takeOutObserver(objName + event, observer, last));
        if (last && tellTheBus)
            result = sendSubscription(RemoveObserver, objName, event);
    }
    if (last && tellTheBus)
        sourceWrite();
    return result;
}

// Null when the observer is not listed. `last` when it was the pair's last one.
TavixProxy::EventObserverInfo* TavixProxy::takeOutObserver(std::string const& key,
                                                           ObjectEventObserver const* observer, bool& last)
{
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    auto entry = _private->eventObservers.find(key);
    ProxyPrivate::Subscription& subscription = entry->second;
    auto place = subscription.find(observer);
    if (place == subscription.observers.end())
        return nullptr;
    EventObserverInfo* info = *place;
    subscription.observers.erase(place);
    last = subscription.observers.empty();
    if (last) {
        _private->eventObservers.erase(entry);
        _private->repeated = {};
    }
    return info;
}

// Queues the message only; under subscriptionLock.
RemoteProxyResult TavixProxy::sendSubscription(EESMessageType type, std::string const& objName,
                                               std::string const& event)
{
    struct Queueing {
        explicit Queueing(std::atomic<pthread_t>& place) : thread(place) { thread = pthread_self(); }
        ~Queueing() { thread = 0; }
        std::atomic<pthread_t>& thread;
    } queueing(_private->queueingThread);
    RemoteProxyResult result = PROXY_OK;
    formatAndSendRequest(type, objName, event, nullptr, true, result, nullptr, nullptr);
    return result;
}

RemoteProxyResult TavixProxy::sendEvent(std::string objName, std::string event, Element* data)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    RemoteProxyResult result = PROXY_OK;
    formatAndSendRequest(Event, objName, event, data, false, result, nullptr, nullptr);
    return result;
}

void TavixProxy::dispatchEvent(ResponseData* data)
{
    std::unique_ptr<ResponseData> owned(data);
    MapElem const* map = data->map;
    if (!map->hasChild("event")) {
        dispatchMethodCall(owned.release());
        return;
    }
    std::string objName = textOf(map, "objName");
    std::string event = textOf(map, "event");
    Element* value = map->find("data");
    if (_log.get())
        _log->logEventReceived(objName, event, value);
    Delivery delivery;
    delivery.collect(*_private, 0, objName, event);
    delivery.run(std::move(objName), std::move(event), textOf(map, "identity"), value);
}

// As dispatchPlainCall: of an event as encoders write it only the data is decoded, and that only when
// somebody observes it.
bool TavixProxy::dispatchPlainEvent(Message const& message, std::shared_ptr<void const> const& owner)
{
    if (message.data[kOffsetMessageType] != Event || !decodesPlainly())
        return false;
    unsigned char const* const block = message.data + kSizeFieldLength;
    const unsigned length = message.size - kSizeFieldLength;
    RoutingFields fields;
    const unsigned number = _private->eventMemo.readRoutingFields(block, length, fields, true);
    if (!fields.regular || fields.messageType != "method" || !fields.event || !fields.objName ||
        !fields.data || fields.valuePosition >= length)
        return false;
    Delivery delivery;
    delivery.collect(*_private, number, *fields.objName, *fields.event);
    if (delivery.isEmpty() && !_log.get())
        return true;
    std::unique_ptr<Element> data(EESParser::readContainer(block, length, fields.valuePosition,
                                                           message.data[kOffsetVersion], owner, 1));
    if (!data)
        return false;
    std::string objName(*fields.objName);
    std::string event(*fields.event);
    if (_log.get())
        _log->logEventReceived(objName, event, data.get());
    delivery.run(std::move(objName), std::move(event),
                 std::string(fields.identity.value_or(std::string_view())), data.get());
    return true;
}

RemoteProxyResult TavixProxy::onObjectAdded(std::string objName, void (*callback)(TavixProxy*, void*),
                                            void* userData)
{
    return (new ObjectReadyObserver)->start(this, std::move(objName), callback, userData);
}

RemoteProxyResult TavixProxy::waitForObject(std::string objName)
{
    ProxyPrivate::ObjectWait waiting(*_private);
    const RemoteProxyResult result = waiting.start(this, std::move(objName));
    if (result != PROXY_OK)
        return result;
    wait(&waiting.wake);
    return waiting.end() ? PROXY_OK : PROXY_CONNECTION_ERROR;
}

ProxyPrivate::ObjectWait::ObjectWait(ProxyPrivate& waited) : proxy(waited), observer(new ObjectReadyObserver)
{
    sem_init(&wake, 0, 0);
    sem_init(&called, 0, 0);
    observer->ref();
    Ferrule::Guard<std::mutex> guard(proxy.tableLock);
    linkId = proxy.linkId;
    place = proxy.objectWaits.insert(proxy.objectWaits.end(), this);
}

// An exception of a handler that ran meanwhile may be what ends the wait.
ProxyPrivate::ObjectWait::~ObjectWait()
{
    end();
    observer->unref();
    sem_destroy(&wake);
    sem_destroy(&called);
}

RemoteProxyResult ProxyPrivate::ObjectWait::start(TavixProxy* starter, std::string objName)
{
    auto callback = [](TavixProxy*, void* self) {
        ObjectWait* waiting = static_cast<ObjectWait*>(self);
        sem_post(&waiting->wake);
        sem_post(&waiting->called);
    };
    return observer->start(starter, std::move(objName), callback, this);
}

// From here on nobody posts. Answers whether the object has come.
bool ProxyPrivate::ObjectWait::end()
{
    if (!ended) {
        {
            Ferrule::Guard<std::mutex> guard(proxy.tableLock);
            proxy.objectWaits.erase(place);
        }
        ended = true;
        arrived = !observer->cancel(!broken);
        while (arrived && sem_wait(&called) != 0) { // the callback may be at work on another thread
        }
    }
    return arrived;
}

// Those of a later connection have begun behind this end.
void TavixProxy::endWaitsForObjects(unsigned linkId)
{
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    for (ProxyPrivate::ObjectWait* waiting : _private->objectWaits) {
        if (waiting->linkId <= linkId && !std::exchange(waiting->broken, true))
            sem_post(&waiting->wake);
    }
}

void TavixProxy::deleteObservers()
{
    for (auto& entry : _private->eventObservers) {
        for (EventObserverInfo* info : entry.second.observers)
            info->unref();
    }
    _private->eventObservers.clear();
    for (ObjectReadyObserver* observer : std::exchange(_private->readyObservers, {}))
        delete observer;
}

} // namespace Tavix
