#include "tavix/Message.h"

#include "tavix/ReadBufferInternal.h"

namespace Tavix {

namespace {

// Collects the pieces of a frame, leaving out the first `skip` bytes.
class Gatherer {
public:
    Gatherer(unsigned skip, iovec* entries, int count) : _skip(skip), _entries(entries), _count(count) {}

    void add(void const* bytes, size_t length)
    {
        if (length <= _skip) {
            _skip -= length;
            return;
        }
        if (_used == _count)
            return;
        _entries[_used].iov_base = const_cast<char*>(static_cast<char const*>(bytes) + _skip);
        _entries[_used].iov_len = length - _skip;
        _skip = 0;
        ++_used;
    }

    int used() const { return _used; }

private:
    size_t _skip;
    iovec* const _entries;
    const int _count;
    int _used = 0;
};

} // namespace

Message::Message(ReadBuffer& buffer, unsigned char* data, unsigned size)
    : data(data), size(size), blockLength(size), lender(&buffer)
{
    buffer.ref();
}

void Message::giveBack()
{
    lender->unref();
}

int Message::gather(unsigned from, iovec* entries, int count) const
{
    Gatherer gatherer(from, entries, count);
    unsigned offset = 0;
    for (FramePart const& part : parts) {
        gatherer.add(data + offset, part.offset - offset);
        gatherer.add(part.bytes.data, part.bytes.size);
        offset = part.offset;
    }
    gatherer.add(data + offset, blockLength - offset);
    return gatherer.used();
}

} // namespace Tavix
