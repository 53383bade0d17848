#ifndef TAVIX_REQUESTDATA_H
#define TAVIX_REQUESTDATA_H

#include <tavix/elements/EncodedFrame.h>

#include <cstdlib>

namespace Tavix {

// An encoded request before it is sent. Owns data, a block from malloc; who hands the block on sets data to
// null.
struct RequestData {
    RequestData() = default;
    RequestData(RequestData const&) = delete;
    RequestData& operator=(RequestData const&) = delete;
    ~RequestData() { std::free(frame.block); }

    EncodedFrame frame;           // the whole frame with its size field; its block is owned
    unsigned id = 0;              // the request identifier: the message id on the wire
    unsigned char noResponse = 0; // 1 when no response is expected
};

} // namespace Tavix

#endif
