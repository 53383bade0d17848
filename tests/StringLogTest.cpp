#include "tavix/StringLog.h"

#include "tavix/IntervalTimer.h"
#include "tavix/LogDebug.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Tavix::LogDebug;
using Tavix::StringLog;

std::vector<std::string> linesOf(StringLog const& log)
{
    std::vector<std::string> lines;
    StringLog::Iterator position;
    log.begin(position);
    while (char const* line = log.getNext(position))
        lines.push_back(line);
    return lines;
}

std::vector<std::string> numbers(int first, int last)
{
    std::vector<std::string> result;
    for (int i = first; i <= last; ++i)
        result.push_back(std::to_string(i));
    return result;
}

TEST(StringLog, KeepsTheNewestLinesOldestFirst)
{
    for (int count : {0, 1, 11, 12, 13, 24, 30}) {
        StringLog log(12, 60);
        for (int i = 1; i <= count; ++i)
            log.addEntry(std::to_string(i).c_str());
        EXPECT_EQ(linesOf(log), numbers(count > 12 ? count - 11 : 1, count)) << count;
        log.clear();
        EXPECT_TRUE(linesOf(log).empty());
        log.addEntry("1");
        EXPECT_EQ(linesOf(log), numbers(1, 1));
    }
}

TEST(StringLog, LivesWithoutRoom)
{
    for (int numEntries : {1, 0, -1}) {
        StringLog log(numEntries, 0);
        log.addEntry("abcdefgh");
        EXPECT_EQ(linesOf(log).size(), numEntries > 0 ? 1u : 0u);
    }
}

TEST(LogDebug, PutsTheTimeBeforeTheLineAndCutsIt)
{
    std::string const text(100, 'x');
    LogDebug::printDebug = true;
    testing::internal::CaptureStdout();
    LogDebug::logMessage("%s", text.c_str());
    std::fflush(stdout);
    std::string const printed = testing::internal::GetCapturedStdout();
    LogDebug::printDebug = false;

    std::string const line = linesOf(LogDebug::getLog()).back();
    EXPECT_EQ(line.size(), 58u);
    EXPECT_EQ(line.substr(7), text.substr(0, 51));
    EXPECT_EQ(printed, line + "\n");
    int minutes = -1;
    int seconds = -1;
    EXPECT_EQ(std::sscanf(line.c_str(), "[%2d:%2d]", &minutes, &seconds), 2);
}

TEST(IntervalTimer, KeepsWhatItMeasured)
{
    IntervalTimer timer;
    std::int32_t const stopped = timer.stop();
    EXPECT_EQ(timer.getDelta(true), stopped);
    EXPECT_EQ(timer.getDelta(), stopped);
    EXPECT_EQ(timer.stop(), stopped);
}

} // namespace
