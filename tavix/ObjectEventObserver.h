#ifndef TAVIX_OBJECTEVENTOBSERVER_H
#define TAVIX_OBJECTEVENTOBSERVER_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

// The interface of an observer of events. An application derives from it and subscribes it with
// TavixProxy::addObserver; the proxy does not own it.
class TAVIX_API ObjectEventObserver {
public:
    virtual ~ObjectEventObserver();

    // An event has come. Lends data for the call; null when the event carries no value. Runs on the thread
    // that runs the loop. It may send, call, and add or remove observers, itself too; it must not wait for
    // another thread that is removing this very observer.
    virtual void event(std::string objName, std::string event, Element* data) = 0;

    // The same with what the sending proxy gave as its identity; this is the one that the proxy calls.
    // Default: the form above.
    virtual void event(std::string objName, std::string event, Element* data, std::string identity);
};

} // namespace Tavix

#endif
