#include "tavix/SvcErr.h"

#include "tavix/foundation/Check.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace Tavix {

void SvcErr(char const* format, ...)
{
    if (format && *format) {
        va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
    }
    std::fflush(stdout);
    TAVIX_CHECK(false, "false");
    std::abort();
}

} // namespace Tavix
