#ifndef TAVIX_SVCERR_H
#define TAVIX_SVCERR_H

#include <tavix/foundation/Export.h>

namespace Tavix {

// Ends the process for a condition that cannot be reported: prints the text (printf format, when not empty)
// on standard output, flushes it and fails an assertion. Any thread.
[[noreturn]] TAVIX_API void SvcErr(char const* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace Tavix

#endif
