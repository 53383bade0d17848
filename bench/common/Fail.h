#ifndef TAVIX_BENCH_COMMON_FAIL_H
#define TAVIX_BENCH_COMMON_FAIL_H

namespace Bench {

// Throws a std::runtime_error, which ends this process with status 1 and its children with it.
[[noreturn]] void fail(char const* what);

} // namespace Bench

#endif
