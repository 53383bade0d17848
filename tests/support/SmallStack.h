#ifndef TAVIX_TESTS_SUPPORT_SMALLSTACK_H
#define TAVIX_TESTS_SUPPORT_SMALLSTACK_H

#include <cstddef>

// Runs `work` to its end on a thread with a stack of that size.
void onSmallStack(void (*work)(), std::size_t size = 256 * 1024);

// Sanitizers make frames of functions several times as large: for what fits 256 KiB only without them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kStackOfReleases = 4096 * 1024;
#else
constexpr std::size_t kStackOfReleases = 256 * 1024;
#endif

#endif
