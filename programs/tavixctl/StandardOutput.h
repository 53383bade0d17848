#ifndef TAVIX_PROGRAMS_TAVIXCTL_STANDARDOUTPUT_H
#define TAVIX_PROGRAMS_TAVIXCTL_STANDARDOUTPUT_H

#include "tavixctl/ExitCode.h"

#include <array>
#include <string>
#include <string_view>

// Keeps the real standard output for results. The library says some things on standard output, for people;
// from the construction on they go to standard error.
class StandardOutput {
public:
    enum Result { kWritten, kInterrupted, kFailed };

    StandardOutput();
    ~StandardOutput();
    StandardOutput(StandardOutput const&) = delete;
    StandardOutput& operator=(StandardOutput const&) = delete;

    // Writes all of the text; nothing of it is kept back. A descriptor of `interrupts` (-1 for none) that
    // becomes readable ends a write that waits for a reader: part of the text may be written then. kFailed:
    // errno.
    Result write(std::string_view text, std::array<int, 2> const& interrupts = {-1, -1});

    // Writes the result of a command. After a failure the cause is on standard error.
    ExitCode print(std::string const& result);

    int descriptor() const { return _fd; }

private:
    int _fd;
};

#endif
