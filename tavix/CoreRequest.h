#ifndef TAVIX_COREREQUEST_H
#define TAVIX_COREREQUEST_H

#include <tavix/RequestData.h>
#include <tavix/ResponseData.h>
#include <tavix/elements/EESMessageType.h>
#include <tavix/foundation/RecycledNode.h>

#include <string>

namespace Tavix {

// One request in flight, from before its first byte leaves until its response or the end of its connection.
class CoreRequest : public Ferrule::RecycledNode {
public:
    CoreRequest(RequestData* request, EESMessageType type) : type(type), _request(request) {}

    // Lent, and valid only while the request is being sent.
    RequestData* getRequest() const { return _request; }
    ResponseData* getResponse() const { return _response; }

    // Shows the response to the callback, if there is one. Lends r for the call.
    void setResponse(ResponseData* r)
    {
        _response = r;
        if (callback)
            callback(r, userData);
    }

    ResponseCallback callback = nullptr;
    void* userData = nullptr;
    EESMessageType type;
    unsigned connectionId = 0; // the connection it was sent on: it ends with that connection
    std::string objName;       // of a registration, for the report of a refusal

private:
    RequestData* _request;
    ResponseData* _response = nullptr;
};

} // namespace Tavix

#endif
