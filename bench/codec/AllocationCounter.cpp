// A program's own malloc takes the place of the C library's for all libraries in the process. These count and
// pass on to the C library's under the second names that it exports.

#include "AllocationCounter.h"

#include <cstddef>

namespace {

std::uint64_t _allocations; // the measured code has one thread

} // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    ++_allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    ++_allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size)
{
    ++_allocations;
    return __libc_realloc(block, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++_allocations;
    return __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) void free(void* block)
{
    __libc_free(block);
}

} // extern "C"

std::uint64_t Bench::allocationCount()
{
    return _allocations;
}
