#ifndef TAVIX_FOUNDATION_ERRORSERVER_H
#define TAVIX_FOUNDATION_ERRORSERVER_H

#include <tavix/foundation/Export.h>

namespace Ferrule {

// The reporter of failed checks of this folder, used through Singleton<ErrorServer>. It writes one line to
// standard error, on any thread.
class TAVIX_API ErrorServer {
public:
    // Reports and aborts the process.
    [[noreturn]] void fatal(char const* format, ...) __attribute__((format(printf, 2, 3)));

    // Reports and returns.
    void recoverable(char const* format, ...) __attribute__((format(printf, 2, 3)));
};

// What the two macros below call when a check fails; kept out of line so that a check costs one comparison.
[[noreturn]] TAVIX_API void fatalCheckFailed(char const* file, int line, char const* test)
    __attribute__((cold));
TAVIX_API void recoverableCheckFailed(char const* file, int line, char const* test) __attribute__((cold));

} // namespace Ferrule

// Ends the process when `condition` is false, in every build.
#define FERRULE_CHECK_FATAL(condition)                                                                       \
    (__builtin_expect(static_cast<bool>(condition), 1)                                                       \
         ? static_cast<void>(0)                                                                              \
         : ::Ferrule::fatalCheckFailed(__FILE__, __LINE__, #condition))

// Answers the truth of `condition`, and reports when it is false: the code goes on with a corrected value.
#define FERRULE_CHECK_RECOVERABLE(condition)                                                                 \
    (__builtin_expect(static_cast<bool>(condition), 1)                                                       \
         ? true                                                                                              \
         : (::Ferrule::recoverableCheckFailed(__FILE__, __LINE__, #condition), false))

#endif
