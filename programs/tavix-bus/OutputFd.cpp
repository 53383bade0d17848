#include "tavix-bus/OutputFd.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

OutputFd::OutputFd(int fd) : _fd(fd)
{
    struct stat found;
    if (fstat(fd, &found) != 0 || S_ISREG(found.st_mode))
        return;
    if (S_ISSOCK(found.st_mode)) {
        _kind = kSocket;
        return;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    const int again = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    _own = again >= 0;
    if (_own)
        _fd = again;
    else
        _kind = kAskFirst;
}

OutputFd::~OutputFd()
{
    if (_own)
        close(_fd);
}

ssize_t OutputFd::write(std::string_view text) const
{
    text = text.substr(0, kAtOnce);
    if (_kind == kAskFirst) {
        pollfd asked{_fd, POLLOUT, 0};
        if (poll(&asked, 1, 0) == 0)
            return 0;
    }
    ssize_t taken;
    do {
        taken = _kind == kSocket ? send(_fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                                 : ::write(_fd, text.data(), text.size());
    } while (taken < 0 && errno == EINTR);
    return taken < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? 0 : taken;
}
