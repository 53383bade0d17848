#ifndef TAVIX_FRAMEBLOCKS_H
#define TAVIX_FRAMEBLOCKS_H

#include <tavix/foundation/Export.h>

#include <cstdlib>

namespace Tavix {

// Blocks for frames. They come from malloc and may be released with free. A large one that is released here is kept
// for the thread's next large frame: malloc would give it back to the system and take it anew for every frame, and
// the page faults of that cost more than moving the bytes. Each thread keeps 1 MiB at most.

// Frames of this size and more, in bytes, are large.
constexpr unsigned kLargeFrame = 16384;

TAVIX_API void* allocateLargeFrame(unsigned size);
TAVIX_API void releaseLargeFrame(void* block);

// Null when memory runs out.
inline void* allocateFrame(unsigned size)
{
    return size < kLargeFrame ? std::malloc(size) : allocateLargeFrame(size);
}

// size: what the block was allocated for, or less. Null is nothing.
inline void releaseFrame(void* block, unsigned size)
{
    if (size < kLargeFrame)
        std::free(block);
    else
        releaseLargeFrame(block);
}

} // namespace Tavix

#endif
