#include "tavix/foundation/ErrorServer.h"

#include "tavix/foundation/Singleton.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace Ferrule {

namespace {

constexpr char kCheckFormat[] = "%s:%d - test '%s' failed";

// One call of fputs per report, so that lines of several threads do not mix.
void report(char const* format, va_list arguments) __attribute__((format(printf, 1, 0)));
void report(char const* format, va_list arguments)
{
    char line[1024];
    int const room = static_cast<int>(sizeof line) - 1;
    int length = std::vsnprintf(line, room, format, arguments);
    if (length < 0)
        length = 0;
    if (length >= room)
        length = room - 1;
    line[length] = '\n';
    line[length + 1] = '\0';
    std::fputs(line, stderr);
    std::fflush(stderr);
}

} // namespace

void ErrorServer::fatal(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(format, arguments);
    va_end(arguments);
    std::abort();
}

void ErrorServer::recoverable(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(format, arguments);
    va_end(arguments);
}

void fatalCheckFailed(char const* file, int line, char const* test)
{
    if (ErrorServer* server = Singleton<ErrorServer>::instance())
        server->fatal(kCheckFormat, file, line, test);
    std::abort();
}

void recoverableCheckFailed(char const* file, int line, char const* test)
{
    if (ErrorServer* server = Singleton<ErrorServer>::instance())
        server->recoverable(kCheckFormat, file, line, test);
}

} // namespace Ferrule
