#ifndef TAVIX_OBJECTREADYOBSERVER_H
#define TAVIX_OBJECTREADYOBSERVER_H

#include <tavix/ObjectEventObserver.h>
#include <tavix/RemoteProxyResult.h>
#include <tavix/foundation/AtomicCounter.h>

#include <mutex>
#include <string>

namespace Tavix {

class TavixProxy;
struct ProxyPrivate;

// Tells once that an object of a name exists, whether that is so already or comes later; an object that the
// bus would start on demand counts as there. It lives on the heap and destroys itself, after its callback
// has run or with its proxy. TavixProxy::onObjectAdded makes one.
class TAVIX_API ObjectReadyObserver : public ObjectEventObserver {
public:
    using Callback = void (*)(TavixProxy* proxy, void* userData);

    ObjectReadyObserver() = default;
    ObjectReadyObserver(ObjectReadyObserver const&) = delete;
    ObjectReadyObserver& operator=(ObjectReadyObserver const&) = delete;

    // Subscribes, then asks the bus for the objects that it has; a blocking call. Lends proxy, which outlives
    // this object. With PROXY_OK the callback runs once, perhaps before the return. After a failure of the
    // subscription this object is gone; after a failure of the question the subscription stays.
    RemoteProxyResult start(TavixProxy* proxy, std::string objName, Callback callback, void* userData);

    using ObjectEventObserver::event;
    void event(std::string objName, std::string event, Element* data) override;

private:
    friend class TavixProxy;
    friend struct ProxyPrivate;

    // Gives a reference back.
    struct Release {
        ~Release() { observer->unref(); }
        ObjectReadyObserver* observer;
    };

    enum State { kArmed, kFired, kCancelled };

    ~ObjectReadyObserver() override;
    bool ref();
    void unref();
    bool cancel(bool tellTheBus);
    bool leaveArmed(State next);
    bool isIn(Element* list) const;

    Ferrule::AtomicCounter _refCount{1};
    std::string _objName;
    TavixProxy* _proxy = nullptr;
    Callback _callback = nullptr;
    void* _userData = nullptr;
    std::mutex _lock;
    State _state = kArmed; // guarded by _lock
};

} // namespace Tavix

#endif
