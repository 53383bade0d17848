#include "common/Program.h"

#include "common/Fail.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace Bench {

int guarded(std::function<int()> const& body)
{
    try {
        return body();
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, error.what());
        return 1;
    }
}

void fail(char const* what)
{
    throw std::runtime_error(what);
}

} // namespace Bench
