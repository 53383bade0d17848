#ifndef TAVIX_FOUNDATION_BYTEARRAYINPUTSTREAM_H
#define TAVIX_FOUNDATION_BYTEARRAYINPUTSTREAM_H

#include <tavix/foundation/Export.h>
#include <tavix/foundation/InputStream.h>

namespace Ferrule {

// Reads a block of memory, which must outlive the stream. A length below 0 counts as 0.
class TAVIX_API ByteArrayInputStream : public InputStream {
public:
    ByteArrayInputStream(char const* buffer, int length);
    ByteArrayInputStream(unsigned char const* buffer, int length);

    int read(char* buffer, int size) override;

private:
    char const* _buffer; // borrowed
    int _length;
    int _position;
};

} // namespace Ferrule

#endif
