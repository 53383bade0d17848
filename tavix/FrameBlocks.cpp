#include "tavix/FrameBlocks.h"

#include <algorithm>
#include <iterator>
#include <malloc.h>

namespace Tavix {

namespace {

// Sizes are rounded up to these, so that frames of similar sizes fit each other's blocks. The last is the largest
// frame with its size field and the zero byte behind it.
const size_t kSizes[] = {32768, 73728, 131072, 196608 + 8};

const size_t kLargestKept = 262144;

// Of one thread, in bytes; and in number, which is what a search looks through.
const size_t kKept = 1024 * 1024;
const size_t kMostKept = 16;

// A block that is used again hides from the sanitizer that somebody still reads its old content.
#ifdef __SANITIZE_ADDRESS__
const bool kCaching = false;
#else
const bool kCaching = true;
#endif

size_t roundUp(size_t size)
{
    auto const* fitting = std::lower_bound(std::begin(kSizes), std::end(kSizes), size);
    return fitting == std::end(kSizes) ? size : *fitting;
}

// Trivial, so that it can still be used when the thread's other objects have gone: the process's own proxy, for one,
// is deleted behind them.
struct Cache {
    void* blocks[kMostKept]; // the newest last
    size_t count;
    size_t bytes;
    bool closed;

    void* remove(void** block)
    {
        void* const removed = *block;
        std::copy(block + 1, blocks + count, block);
        --count;
        bytes -= malloc_usable_size(removed);
        return removed;
    }
};

thread_local Cache cache;

struct Cleaner {
    ~Cleaner()
    {
        cache.closed = true;
        while (cache.count > 0)
            std::free(cache.remove(cache.blocks));
    }
};

void* take(size_t size)
{
    for (size_t i = cache.count; i-- > 0;) {
        // Not a much larger one: who keeps the frame keeps all of its block.
        size_t const has = malloc_usable_size(cache.blocks[i]);
        if (has >= size && has <= 2 * roundUp(size))
            return cache.remove(cache.blocks + i);
    }
    return nullptr;
}

// The newest blocks are of the sizes that are in use now.
void keep(void* block)
{
    thread_local Cleaner cleaner; // made on the first use, for its end
    (void)cleaner;
    size_t const size = malloc_usable_size(block);
    while (cache.count == kMostKept || (cache.count > 0 && cache.bytes + size > kKept))
        std::free(cache.remove(cache.blocks));
    cache.blocks[cache.count++] = block;
    cache.bytes += size;
}

} // namespace

void* allocateLargeFrame(unsigned size)
{
    void* block = take(size);
    return block ? block : std::malloc(roundUp(size));
}

void releaseLargeFrame(void* block)
{
    if (kCaching && block && !cache.closed && malloc_usable_size(block) <= kLargestKept)
        keep(block);
    else
        std::free(block);
}

} // namespace Tavix
