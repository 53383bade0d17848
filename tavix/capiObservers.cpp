// The flat functions for events and for objects that come. An observer's handle is its adapter, which lives
// as long as its registration: the proxy's table, and every delivery under way, keep it.

#include "tavix/ObjectEventObserver.h"
#include "tavix/ProxyInternal.h"
#include "tavix/capiProxyInternal.h"
#include "tavix/foundation/Check.h"

#include <utility>

namespace Tavix {

// The identity of the sender does not reach a flat observer.
class EventObserverShim : public ObjectEventObserver {
public:
    EventObserverShim(TvxProxy* observed, TvxEventCallback function, void* data, const char* object,
                      const char* word)
        : proxy(observed), callback(function), userData(data), objName(object), eventName(word)
    {
    }

    using ObjectEventObserver::event;
    void event(std::string object, std::string word, Element* data) override
    {
        callback(proxy, object.c_str(), word.c_str(), toFlat(data), userData);
    }

    TvxProxy* const proxy;
    TvxEventCallback const callback;
    void* const userData;
    const std::string objName;
    const std::string eventName;
};

struct FlatProxy::Observation : TavixProxy::EventObserverInfo {
    explicit Observation(std::unique_ptr<EventObserverShim> owned)
        : EventObserverInfo(owned.get()), shim(std::move(owned))
    {
    }

    const std::unique_ptr<EventObserverShim> shim;
};

RemoteProxyResult FlatProxy::observe(TavixProxy& proxy, std::unique_ptr<EventObserverShim> shim)
{
    const std::string objName = shim->objName;
    const std::string event = shim->eventName;
    return proxy.observe(objName, event, new Observation(std::move(shim)), false);
}

// The adapter goes in here, unless this is a call of it.
RemoteProxyResult FlatProxy::endObservation(TavixProxy& proxy, EventObserverShim& shim)
{
    const std::string objName = shim.objName;
    const std::string event = shim.eventName;
    const bool connected = proxy.isConnected();
    const RemoteProxyResult result = proxy.endObservation(objName, event, &shim, connected);
    return connected ? result : PROXY_CONNECTION_ERROR;
}

} // namespace Tavix

using namespace Tavix;

RemoteProxyResult tvx_proxy_send_event(TvxProxy* proxy, const char* objName, const char* event,
                                       TvxElement* data)
{
    return request(proxy, objName, event,
                   [=] { return toCpp(proxy)->sendEvent(objName, event, toCpp(data)); });
}

void* tvx_proxy_add_observer(TvxProxy* proxy, const char* objName, const char* event,
                             TvxEventCallback callback, void* userData)
{
    void* handle = nullptr;
    const RemoteProxyResult result = request(callback ? proxy : nullptr, objName, event, [&] {
        auto shim = std::make_unique<EventObserverShim>(proxy, callback, userData, objName, event);
        handle = shim.get();
        return FlatProxy::observe(*toCpp(proxy), std::move(shim));
    });
    return result == PROXY_OK ? handle : nullptr;
}

RemoteProxyResult tvx_proxy_remove_observer(TvxProxy* proxy, void* observer)
{
    if (proxy == nullptr)
        return PROXY_CONNECTION_ERROR;
    if (observer == nullptr)
        return PROXY_OBJECT_NOT_FOUND;
    EventObserverShim& shim = *static_cast<EventObserverShim*>(observer);
    if (shim.proxy != proxy)
        return PROXY_OBSERVER_NOT_FOUND;
    return guarded(PROXY_MEMORY_ERROR, [&] { return FlatProxy::endObservation(*toCpp(proxy), shim); });
}

RemoteProxyResult tvx_proxy_on_object_added(TvxProxy* proxy, const char* objName, TvxObjectCallback callback,
                                            void* userData)
{
    TAVIX_CHECK(proxy != nullptr, "proxy");
    TAVIX_CHECK(objName != nullptr, "object");
    return guarded(PROXY_MEMORY_ERROR, [=] {
        // A handle is the proxy itself: the two functions differ in the name of the type alone.
        auto function = reinterpret_cast<void (*)(TavixProxy*, void*)>(callback);
        return toCpp(proxy)->onObjectAdded(objName, function, userData);
    });
}

RemoteProxyResult tvx_proxy_wait_for_object(TvxProxy* proxy, const char* objName)
{
    return request(proxy, objName, "", [=] { return toCpp(proxy)->waitForObject(objName); });
}
