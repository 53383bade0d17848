#include "tavix/ObjectReadyObserver.h"

#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/ElementIterator.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <memory>
#include <utility>

namespace Tavix {

namespace {

const char kBusObject[] = "tvx";
const char kAdded[] = "objectAdded";

} // namespace

ObjectReadyObserver::~ObjectReadyObserver()
{
    if (!_proxy)
        return;
    std::lock_guard<std::mutex> guard(_proxy->_private->tableLock);
    _proxy->_private->readyObservers.erase(this);
}

bool ObjectReadyObserver::ref()
{
    return ++_refCount > 1;
}

void ObjectReadyObserver::unref()
{
    if (--_refCount == 0)
        delete this;
}

// The subscription comes before the question, so an object that appears between the two cannot be missed.
RemoteProxyResult ObjectReadyObserver::start(TavixProxy* proxy, std::string objName, Callback callback,
                                             void* userData)
{
    _proxy = proxy;
    _objName = std::move(objName);
    _callback = callback;
    _userData = userData;
    {
        std::lock_guard<std::mutex> guard(proxy->_private->tableLock);
        proxy->_private->readyObservers.insert(this);
    }
    ref(); // one for this function, one for the subscription
    const Release own{this};
    RemoteProxyResult result = proxy->addObserver(kBusObject, kAdded, this);
    if (result != PROXY_OK) {
        cancel(false);
        return result;
    }
    NullElem nothing;
    std::unique_ptr<Element> names(proxy->callMethod(kBusObject, "listObjects", &nothing, result));
    if (result == PROXY_OK && isIn(names.get())) {
        StringElem name(_objName);
        event(_objName, kAdded, &name);
    }
    return result;
}

bool ObjectReadyObserver::isIn(Element* list) const
{
    std::unique_ptr<ElementIterator> names(list->iterator());
    while (names && names->hasNext()) {
        if (names->next()->stringValue() == _objName)
            return true;
    }
    return false;
}

// What the event is called is not looked at: it comes from the one subscription of this object.
void ObjectReadyObserver::event(std::string, std::string, Element* data)
{
    if (data && data->stringValue() != _objName)
        return;
    if (!leaveArmed(kFired))
        return;
    const Release subscription{this};
    struct End {
        ~End() { observer->_proxy->endObservation(kBusObject, kAdded, observer, true); }
        ObjectReadyObserver* observer;
    } end{this};
    if (_callback)
        _callback(_proxy, _userData);
}

// From here on the callback does not run any more. False when it is running or has run.
bool ObjectReadyObserver::cancel(bool tellTheBus)
{
    if (leaveArmed(kCancelled)) {
        _proxy->endObservation(kBusObject, kAdded, this, tellTheBus);
        unref();
        return true;
    }
    std::lock_guard<std::mutex> guard(_lock);
    return _state == kCancelled;
}

bool ObjectReadyObserver::leaveArmed(State next)
{
    std::lock_guard<std::mutex> guard(_lock);
    if (_state != kArmed)
        return false;
    _state = next;
    return true;
}

} // namespace Tavix
