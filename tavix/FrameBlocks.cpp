#include "tavix/FrameBlocks.h"

#include <algorithm>
#include <iterator>
#include <malloc.h>
#include <utility>

namespace Tavix {

namespace {

// Sizes are rounded up to these, so that frames of similar sizes fit each other's blocks. The last is the largest
// frame with its size field and the zero byte behind it.
const size_t kSizes[] = {32768, 73728, 131072, 196608 + 8};

const size_t kLargestKept = 262144;

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
    void* blocks[2];
    bool closed;
};

thread_local Cache cache;

struct Cleaner {
    ~Cleaner()
    {
        cache.closed = true;
        for (void*& block : cache.blocks)
            std::free(std::exchange(block, nullptr));
    }
};

void* take(size_t size)
{
    for (void*& block : cache.blocks) {
        // Not a much larger one: who keeps the frame keeps all of its block.
        size_t const has = block ? malloc_usable_size(block) : 0;
        if (has >= size && has <= 2 * roundUp(size))
            return std::exchange(block, nullptr);
    }
    return nullptr;
}

// The newest blocks are of the sizes that are in use now.
void keep(void* block)
{
    thread_local Cleaner cleaner; // made on the first use, for its end
    (void)cleaner;
    std::swap(cache.blocks[0], cache.blocks[1]);
    std::free(std::exchange(cache.blocks[0], block));
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
