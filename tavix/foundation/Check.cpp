#include "tavix/foundation/Check.h"

#include <cstdio>
#include <cstdlib>
#include <errno.h>

namespace Ferrule {

void checkFailed(const char* text, const char* file, int line, const char* function)
{
    std::fprintf(stderr, "%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name, file, line,
                 function, text);
    std::fflush(stderr); // that one only: another thread may hold any other stream and wait
    std::abort();
}

} // namespace Ferrule
