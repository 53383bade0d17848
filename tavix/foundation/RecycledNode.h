#ifndef TAVIX_FOUNDATION_RECYCLEDNODE_H
#define TAVIX_FOUNDATION_RECYCLEDNODE_H

#include <tavix/foundation/Export.h>

#include <cstddef>
#include <new>

namespace Ferrule {

// A base of small objects that come and go with every message: deleted ones serve as the memory of the thread's next
// ones of about their size, which costs a third of what malloc and free cost. Nothing else changes: any thread
// may delete any of them, and without memory new throws, or with std::nothrow answers null, as ever.
//
// A thread keeps at most 64 blocks of each of a dozen sizes up to 184 bytes (75 KB when it has had that many of them
// all at once) and gives them back when it ends. Under the sanitizers nothing is kept, so that they see a use of
// what was deleted.
//
// A class that is deleted through a base needs a virtual destructor there, as any: the size comes with it.
class TAVIX_API RecycledNode {
public:
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, std::nothrow_t const&) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    // A derived class of a larger alignment is not recycled.
    static void* operator new(std::size_t size, std::align_val_t alignment)
    {
        return ::operator new(size, alignment);
    }
    static void operator delete(void* node, std::size_t size) noexcept;
    static void operator delete(void* node, std::size_t, std::align_val_t alignment) noexcept
    {
        ::operator delete(node, alignment);
    }
    // For a constructor that throws.
    static void operator delete(void* node, std::nothrow_t const&) noexcept;
    static void operator delete(void*, void*) noexcept {}
};

} // namespace Ferrule

#endif
