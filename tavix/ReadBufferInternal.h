#ifndef TAVIX_READBUFFERINTERNAL_H
#define TAVIX_READBUFFERINTERNAL_H

#include "tavix/FrameBlocks.h"
#include "tavix/foundation/AtomicCounter.h"
#include "tavix/foundation/NonCopyable.h"

#include <cstddef>
#include <new>

namespace Tavix {

// What one read takes from a socket, kept by the connection and by each message that lends its bytes there.
class ReadBuffer : public Ferrule::NonCopyable<ReadBuffer> {
public:
    static constexpr unsigned kSize = 65536;

    ReadBuffer() = default; // bytes stay as they are

    void ref() { ++_users; }
    // The last one deletes it.
    void unref()
    {
        if (--_users == 0)
            delete this;
    }
    bool isShared() const { return _users.get() > 1; }

    unsigned char bytes[kSize + 1]; // one for the zero byte behind the last frame

    static void* operator new(std::size_t size, std::nothrow_t const&) noexcept
    {
        return allocateFrame(static_cast<unsigned>(size));
    }
    static void operator delete(void* buffer) noexcept { releaseLargeFrame(buffer); }
    static void operator delete(void* buffer, std::nothrow_t const&) noexcept { releaseLargeFrame(buffer); }

private:
    ~ReadBuffer() = default;

    Ferrule::AtomicCounter _users{1};
};

} // namespace Tavix

#endif
