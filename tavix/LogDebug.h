#ifndef TAVIX_LOGDEBUG_H
#define TAVIX_LOGDEBUG_H

#include <tavix/StringLog.h>
#include <tavix/foundation/Export.h>

#include <atomic>

namespace Tavix {

// The library's own log: the last 12 lines of at most 58 characters, each behind "[MM:SS]", the minutes and
// seconds of the local time.
class TAVIX_API LogDebug {
public:
    // Any thread. What does not fit is cut.
    static void logMessage(char const* format, ...) __attribute__((format(printf, 1, 2)));

    // Lends the log.
    static StringLog& getLog();

    // Whether every logged line also goes to standard output.
    static std::atomic<bool> printDebug;
};

} // namespace Tavix

#endif
