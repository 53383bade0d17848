#ifndef TAVIX_FOUNDATION_INPUTSTREAM_H
#define TAVIX_FOUNDATION_INPUTSTREAM_H

#include <tavix/foundation/Export.h>

namespace Ferrule {

// A stream of bytes to read.
class TAVIX_API InputStream {
public:
    virtual ~InputStream();

    // Fills `buffer` with up to `size` bytes and answers how many it delivered. Fewer than `size` means the
    // end, or a failure that the stream itself can tell about; the answer is never negative.
    virtual int read(char* buffer, int size) = 0;
};

} // namespace Ferrule

#endif
