#include "tavixctl/StandardOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

StandardOutput::StandardOutput() : _fd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // in order with what goes to standard error
}

StandardOutput::~StandardOutput()
{
    if (_fd >= 0)
        close(_fd);
}

// A pipe that polls as writable takes this much without blocking, so the write is never where a signal would
// find us.
StandardOutput::Result StandardOutput::write(std::string_view text, std::array<int, 2> const& interrupts)
{
    if (_fd < 0) {
        errno = EBADF;
        return kFailed;
    }
    while (!text.empty()) {
        pollfd ready[] = {{_fd, POLLOUT, 0}, {interrupts[0], POLLIN, 0}, {interrupts[1], POLLIN, 0}};
        if (poll(ready, 3, -1) > 0 && (ready[1].revents || ready[2].revents))
            return kInterrupted;
        ssize_t n = ready[0].revents ? ::write(_fd, text.data(), std::min<size_t>(text.size(), PIPE_BUF)) : 0;
        if (n < 0 && errno != EINTR && errno != EAGAIN)
            return kFailed;
        if (n > 0)
            text.remove_prefix(static_cast<size_t>(n));
    }
    return kWritten;
}

ExitCode StandardOutput::print(std::string const& result)
{
    if (write(result) == kWritten)
        return kSuccess;
    return fail(kOutputFailed, std::string("cannot write the result: ") + std::strerror(errno));
}
