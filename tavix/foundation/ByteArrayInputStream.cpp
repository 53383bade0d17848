#include "tavix/foundation/ByteArrayInputStream.h"

#include <algorithm>
#include <cstring>

namespace Ferrule {

ByteArrayInputStream::ByteArrayInputStream(char const* buffer, int length)
    : _buffer(buffer), _length(buffer ? length : 0), _position(0)
{
}

ByteArrayInputStream::ByteArrayInputStream(unsigned char const* buffer, int length)
    : ByteArrayInputStream(reinterpret_cast<char const*>(buffer), length)
{
}

int ByteArrayInputStream::read(char* buffer, int size)
{
    int const count = std::min(size, _length - _position);
    if (count <= 0)
        return 0;
    std::memcpy(buffer, _buffer + _position, static_cast<std::size_t>(count));
    _position += count;
    return count;
}

} // namespace Ferrule
