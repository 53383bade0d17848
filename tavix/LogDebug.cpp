#include "tavix/LogDebug.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace Tavix {

namespace {

constexpr int kNumEntries = 12;
constexpr int kEntrySize = 60;

StringLog theLog(kNumEntries, kEntrySize);

} // namespace

std::atomic<bool> LogDebug::printDebug{false};

StringLog& LogDebug::getLog()
{
    return theLog;
}

void LogDebug::logMessage(char const* format, ...)
{
    std::time_t const now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);

    char line[kEntrySize - 1];
    int const prefix = std::snprintf(line, sizeof line, "[%02d:%02d]", local.tm_min, local.tm_sec);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line + prefix, sizeof line - static_cast<std::size_t>(prefix), format, arguments);
    va_end(arguments);

    theLog.addEntry(line);
    if (printDebug)
        std::puts(line);
}

} // namespace Tavix
