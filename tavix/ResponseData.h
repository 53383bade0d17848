#ifndef TAVIX_RESPONSEDATA_H
#define TAVIX_RESPONSEDATA_H

#include <tavix/elements/MapElem.h>
#include <tavix/foundation/Export.h>

namespace Tavix {

// One received message: a response that a callback is shown, or a call or event under dispatch. Given to
// callbacks for the length of the call only; who needs it longer copies it.
struct TAVIX_API ResponseData {
    // Takes map. The numbers start at 0.
    explicit ResponseData(MapElem* receivedMap);
    // Deep: clones the map. The numbers of the copy are 0.
    ResponseData(ResponseData const& other);
    ResponseData& operator=(ResponseData const&) = delete;
    ~ResponseData();

    MapElem* map;              // the decoded root; a response has its value under "result". Owned
    int clientId = 0;          // the reply client id of the message's header
    unsigned requestId = 0;    // the message id of the message's header
    unsigned connectionId = 0; // which of the proxy's connections, one after the other, it arrived on
};

// Called once with the response to a request, on the thread that runs the loop (on the thread that found a
// broken connection, when the request ends that way). The response is lent for the call. The callback may use
// the proxy and connect it again, and on the loop's thread also run blocking calls; it must not destroy the
// proxy.
using ResponseCallback = void (*)(ResponseData const* response, void* userData);

} // namespace Tavix

#endif
