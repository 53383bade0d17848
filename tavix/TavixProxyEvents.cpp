// Events: subscriptions, deliveries and the wait for an object.
//
// An observer may be removed at any moment, from another thread or from inside a call of any observer, and is
// not called once removeObserver has returned. A delivery therefore looks at the mark of a record under the
// record's lock and keeps the lock during the call; a removal sets the mark under that lock, and so waits for
// a call that is under way. The lock is recursive: an observer may remove itself.

#include "tavix/Message.h"
#include "tavix/ObjectReadyObserver.h"
#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/MapElem.h"
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

    void collect(ProxyPrivate& proxy, std::string const& key)
    {
        Ferrule::Guard<std::mutex> guard(proxy.tableLock);
        auto entry = proxy.eventObservers.find(key);
        if (entry == proxy.eventObservers.end())
            return;
        _observers = entry->second.observers;
        for (TavixProxy::EventObserverInfo* info : _observers)
            info->ref();
    }

    bool isEmpty() const { return _observers.empty(); }

    void run(std::string const& objName, std::string const& event, std::string const& identity, Element* data)
    {
        for (TavixProxy::EventObserverInfo* info : _observers) {
            std::lock_guard<std::recursive_mutex> guard(info->lock);
            if (!info->removed)
                info->observer->event(objName, event, data, identity);
        }
    }

private:
    std::vector<TavixProxy::EventObserverInfo*> _observers;
};

std::string textOf(MapElem const* map, char const* key)
{
    Element* child = map->find(key);
    return child ? child->stringValue() : std::string();
}

} // namespace

bool TavixProxy::EventObserverInfo::ref()
{
    return ++refCount > 1;
}

void TavixProxy::EventObserverInfo::unref()
{
    if (--refCount == 0)
        delete this;
}

void TavixProxy::EventObserverInfo::retire()
{
    {
        std::lock_guard<std::recursive_mutex> guard(lock);
        removed = true;
    }
    unref();
}

// The table changes and the message to the bus is queued under one lock, so that two threads reach the bus in
// the order in which they changed the table. The message is written behind that lock: a write may find the
// connection broken, and then runs callbacks.
RemoteProxyResult TavixProxy::addObserver(std::string objName, std::string event,
                                          ObjectEventObserver* observer)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    RemoteProxyResult result;
    {
        std::lock_guard<std::mutex> order(_private->subscriptionLock);
        {
            Ferrule::Guard<std::mutex> guard(_private->tableLock);
            ProxyPrivate::Subscription& subscription = _private->eventObservers[objName + event];
            if (subscription.find(observer) != subscription.observers.end())
                return PROXY_OBSERVER_ALREADY_EXISTS;
            subscription.observers.push_back(new EventObserverInfo(observer));
            const unsigned linkId = _private->linkId;
            // On another connection than the last time the bus knows nothing of it.
            if (std::exchange(subscription.linkId, linkId) == linkId)
                return PROXY_OK;
        }
        result = sendSubscription(AddObserver, objName, event);
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
    RemoteProxyResult result = PROXY_OK;
    EventObserverInfo* info;
    bool last;
    {
        std::lock_guard<std::mutex> order(_private->subscriptionLock);
        {
            Ferrule::Guard<std::mutex> guard(_private->tableLock);
            auto entry = _private->eventObservers.find(objName + event);
            if (entry == _private->eventObservers.end())
                return PROXY_OBSERVER_NOT_FOUND;
            ProxyPrivate::Subscription& subscription = entry->second;
            auto place = subscription.find(observer);
            if (place == subscription.observers.end())
                return PROXY_OK;
            info = *place;
            subscription.observers.erase(place);
            last = subscription.observers.empty();
            if (last)
                _private->eventObservers.erase(entry);
        }
        last = last && tellTheBus;
        if (last)
            result = sendSubscription(RemoveObserver, objName, event);
    }
    if (last)
        sourceWrite();
    info->retire();
    return result;
}

// Queues the message only; under subscriptionLock.
RemoteProxyResult TavixProxy::sendSubscription(EESMessageType type, std::string const& objName,
                                               std::string const& event)
{
    RemoteProxyResult result = PROXY_OK;
    _private->queueingThread = pthread_self();
    formatAndSendRequest(type, objName, event, nullptr, true, result, nullptr, nullptr);
    _private->queueingThread = 0;
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
    const std::string objName = textOf(map, "objName");
    const std::string event = textOf(map, "event");
    Element* value = map->find("data");
    if (_log.get())
        _log->logEventReceived(objName, event, value);
    Delivery delivery;
    delivery.collect(*_private, objName + event);
    delivery.run(objName, event, textOf(map, "identity"), value);
}

// As dispatchPlainCall: of an event as encoders write it only the data is decoded, and that only when somebody
// observes it.
bool TavixProxy::dispatchPlainEvent(Message const& message, std::shared_ptr<void const> const& owner)
{
    if (message.data[kOffsetMessageType] != Event || !decodesPlainly())
        return false;
    unsigned char const* const block = message.data + kSizeFieldLength;
    const unsigned length = message.size - kSizeFieldLength;
    RoutingFields fields;
    EESPeekParser::readRoutingFields(block, length, kParsePosition, fields, true);
    if (!fields.regular || fields.messageType != "method" || !fields.event || !fields.objName ||
        !fields.data || fields.valuePosition >= length)
        return false;
    const std::string objName(*fields.objName);
    const std::string event(*fields.event);
    Delivery delivery;
    delivery.collect(*_private, objName + event);
    if (delivery.isEmpty() && !_log.get())
        return true;
    std::unique_ptr<Element> data(EESParser::readContainer(block, length, fields.valuePosition,
                                                           message.data[kOffsetVersion], owner, 1));
    if (!data)
        return false;
    if (_log.get())
        _log->logEventReceived(objName, event, data.get());
    delivery.run(objName, event, std::string(fields.identity.value_or(std::string_view())), data.get());
    return true;
}

RemoteProxyResult TavixProxy::onObjectAdded(std::string objName, void (*callback)(TavixProxy*, void*),
                                            void* userData)
{
    return (new ObjectReadyObserver)->start(this, std::move(objName), callback, userData);
}

// Two may end the wait, the callback and the end of the connection, and both at once. The semaphore goes only
// when every post to it that began has been taken.
RemoteProxyResult TavixProxy::waitForObject(std::string objName)
{
    ProxyPrivate::ObjectWait waiting;
    {
        Ferrule::Guard<std::mutex> guard(_private->tableLock);
        waiting.place = _private->objectWaits.insert(_private->objectWaits.end(), &waiting);
    }
    ObjectReadyObserver* observer = new ObjectReadyObserver;
    observer->ref();
    auto arrived = [](TavixProxy*, void* semaphore) { sem_post(static_cast<sem_t*>(semaphore)); };
    RemoteProxyResult result = observer->start(this, std::move(objName), arrived, &waiting.semaphore);
    int posts = 0;
    if (result == PROXY_OK) {
        wait(&waiting.semaphore);
        posts = -1;
    }
    {
        Ferrule::Guard<std::mutex> guard(_private->tableLock);
        _private->objectWaits.erase(waiting.place);
    }
    if (waiting.broken)
        ++posts;
    if (!observer->cancel(!waiting.broken))
        ++posts;
    else if (result == PROXY_OK)
        result = PROXY_CONNECTION_ERROR;
    observer->unref();
    for (; posts > 0; --posts)
        waiting.take();
    return result;
}

void TavixProxy::endWaitsForObjects()
{
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    for (ProxyPrivate::ObjectWait* waiting : _private->objectWaits) {
        if (!std::exchange(waiting->broken, true))
            sem_post(&waiting->semaphore);
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
