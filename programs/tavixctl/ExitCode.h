#ifndef TAVIX_PROGRAMS_TAVIXCTL_EXITCODE_H
#define TAVIX_PROGRAMS_TAVIXCTL_EXITCODE_H

#include <string>

// What a verb ends with. Every code but kSuccess comes with a line on standard error that tells the cause.
enum ExitCode {
    kSuccess = 0,
    kException = 1,
    kUsage = 2,
    kNoBus = 3,
    kNoObject = 4,
    kTimedOut = 5,
    kOutputFailed = 6,
};

// The table for --help.
extern char const kExitCodes[];

// Writes "tavixctl: " and the text on standard error, on one line whatever it holds, and answers the code.
ExitCode fail(ExitCode code, std::string const& text);

#endif
