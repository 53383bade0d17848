#ifndef TAVIX_FOUNDATION_NODEALLOCATOR_H
#define TAVIX_FOUNDATION_NODEALLOCATOR_H

#include <tavix/foundation/RecycledNode.h>

#include <cstddef>

namespace Ferrule {

// An allocator for the standard containers, with the memory of RecycledNode.
template <class T>
struct NodeAllocator {
    using value_type = T;

    NodeAllocator() = default;
    template <class U>
    NodeAllocator(NodeAllocator<U> const&) noexcept
    {
    }

    T* allocate(std::size_t count) { return static_cast<T*>(RecycledNode::operator new(count * sizeof(T))); }
    void deallocate(T* nodes, std::size_t count) noexcept
    {
        RecycledNode::operator delete(nodes, count * sizeof(T));
    }

    friend bool operator==(NodeAllocator const&, NodeAllocator const&) { return true; }
    friend bool operator!=(NodeAllocator const&, NodeAllocator const&) { return false; }
};

} // namespace Ferrule

#endif
