#include "tavix/foundation/RecycledNode.h"

#include <utility>

namespace Ferrule {

namespace {

// Blocks of 8, 24, 40 ... bytes: malloc hands out these without loss.
constexpr std::size_t kStep = 16;
constexpr std::size_t kSmallest = 8;
constexpr std::size_t kSizes = 12;
constexpr unsigned kKept = 64;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kRecycling = false;
#else
constexpr bool kRecycling = true;
#endif

struct Block {
    Block* next;
};

struct Bin {
    Block* first;
    unsigned room; // for how many more; 0 in all bins before the first use and after the last
};

// Trivial, so that it can still be used when the thread's other objects have gone.
struct Store {
    Bin bins[kSizes];
    bool opened;
};

thread_local Store store;

struct Cleaner {
    ~Cleaner()
    {
        for (Bin& bin : store.bins) {
            bin.room = 0;
            while (Block* const block = bin.first) {
                bin.first = block->next;
                ::operator delete(block);
            }
        }
    }
};

// False when the thread's store has been open already: then the bin is full, or the thread ends.
bool open()
{
    if (!kRecycling || std::exchange(store.opened, true))
        return false;
    thread_local Cleaner cleaner; // made here, for its end
    (void)cleaner;
    for (Bin& bin : store.bins)
        bin.room = kKept;
    return true;
}

std::size_t binOf(std::size_t size)
{
    return (size + kStep - 1 - kSmallest) / kStep;
}

void* takeKept(std::size_t index)
{
    if (index >= kSizes)
        return nullptr;
    Bin& bin = store.bins[index];
    Block* const block = bin.first;
    if (!block)
        return nullptr;
    bin.first = block->next;
    ++bin.room;
    return block;
}

} // namespace

void* RecycledNode::operator new(std::size_t size)
{
    std::size_t const index = binOf(size);
    void* const kept = takeKept(index);
    return kept ? kept : ::operator new(index* kStep + kSmallest);
}

void* RecycledNode::operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    std::size_t const index = binOf(size);
    void* const kept = takeKept(index);
    return kept ? kept : ::operator new(index* kStep + kSmallest, std::nothrow);
}

void RecycledNode::operator delete(void* node, std::size_t size) noexcept
{
    std::size_t const index = binOf(size);
    if (!node || index >= kSizes)
        return ::operator delete(node);
    Bin& bin = store.bins[index];
    if (bin.room == 0 && !open())
        return ::operator delete(node);
    bin.first = new (node) Block{bin.first};
    --bin.room;
}

void RecycledNode::operator delete(void* node, std::nothrow_t const&) noexcept
{
    ::operator delete(node);
}

} // namespace Ferrule
