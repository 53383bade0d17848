#ifndef TAVIX_FOUNDATION_CHECK_H
#define TAVIX_FOUNDATION_CHECK_H

#include <tavix/foundation/Export.h>

// Stops the process when `condition` is false, in every build, also with NDEBUG: it guards against faults of
// this program's own code, after which nothing can be relied on. `text` is what the report shows as the failed
// expression. Never used for what another process sent.
#define TAVIX_CHECK(condition, text)                                                                         \
    (static_cast<bool>(condition) ? static_cast<void>(0)                                                     \
                                  : ::Ferrule::checkFailed(text, __FILE__, __LINE__, __func__))

namespace Ferrule {

// Reports the way assert() does and aborts.
[[noreturn]] TAVIX_API void checkFailed(const char* text, const char* file, int line, const char* function);

} // namespace Ferrule

#endif
