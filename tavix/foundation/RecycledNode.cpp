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
    unsigned room; // for how many more
};

struct Store {
    Bin bins[kSizes];
    bool opened;
};

// Trivial, so that they can still be used when the thread's other objects have gone. The pointer, null before the first
// deletion and behind the thread's end, is all that is looked at as a rule, and found without a call.
thread_local Store store;
__attribute__((tls_model("initial-exec"))) thread_local Store* openStore;

struct Cleaner {
    ~Cleaner()
    {
        openStore = nullptr;
        for (Bin& bin : store.bins) {
            while (Block* const block = bin.first) {
                bin.first = block->next;
                ::operator delete(block);
            }
        }
    }
};

// False when the thread's store has been open already.
bool open()
{
    if (!kRecycling || std::exchange(store.opened, true))
        return false;
    thread_local Cleaner cleaner; // made here, for its end
    (void)cleaner;
    for (Bin& bin : store.bins)
        bin.room = kKept;
    openStore = &store;
    return true;
}

std::size_t binOf(std::size_t size)
{
    return (size + kStep - 1 - kSmallest) / kStep;
}

inline void* takeKept(std::size_t index)
{
    if (!openStore || index >= kSizes)
        return nullptr;
    Bin& bin = openStore->bins[index];
    Block* const block = bin.first;
    if (!block)
        return nullptr;
    bin.first = block->next;
    ++bin.room;
    return block;
}

inline bool keep(void* node, std::size_t index)
{
    if (!openStore || !node || index >= kSizes || openStore->bins[index].room == 0)
        return false;
    Bin& bin = openStore->bins[index];
    bin.first = new (node) Block{bin.first};
    --bin.room;
    return true;
}

// Apart, so that the usual case saves no registers.
[[gnu::noinline]] void releaseUnkept(void* node, std::size_t index)
{
    if (openStore || !open() || !keep(node, index))
        ::operator delete(node);
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
    if (!keep(node, index))
        releaseUnkept(node, index);
}

void RecycledNode::operator delete(void* node, std::nothrow_t const&) noexcept
{
    ::operator delete(node);
}

} // namespace Ferrule
