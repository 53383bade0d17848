#ifndef TAVIX_BENCH_CODEC_ALLOCATIONCOUNTER_H
#define TAVIX_BENCH_CODEC_ALLOCATIONCOUNTER_H

#include <cstdint>

namespace Bench {

// How often this process has allocated memory: every malloc, calloc, realloc and aligned allocation, of the
// libraries too. operator new ends in malloc and counts once.
std::uint64_t allocationCount();

} // namespace Bench

#endif
