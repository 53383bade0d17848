#ifndef TAVIX_BENCH_PEERS_PAYLOADS_H
#define TAVIX_BENCH_PEERS_PAYLOADS_H

#include "common/Fail.h"
#include "common/RunOptions.h"

namespace Bench {

// The bytes of each size.
inline std::vector<std::string> makePayloads(RunOptions const& options)
{
    std::vector<std::string> payloads;
    for (unsigned size : options.sizes)
        payloads.emplace_back(size, 'x');
    return payloads;
}

// For one message of a block: a wrong one would flatter the figures.
inline void checkPayload(std::string const& expected, std::string const& come)
{
    if (come != expected)
        fail("an answer is not the expected one");
}

} // namespace Bench

#endif
