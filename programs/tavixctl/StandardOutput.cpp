#include "tavixctl/StandardOutput.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
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

bool StandardOutput::write(std::string const& text)
{
    for (size_t written = 0; written < text.size();) {
        ssize_t n = ::write(_fd, text.data() + written, text.size() - written);
        if (n < 0 && errno != EINTR)
            return false;
        if (n > 0)
            written += static_cast<size_t>(n);
    }
    return true;
}
