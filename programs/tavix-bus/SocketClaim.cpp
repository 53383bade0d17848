#include "tavix-bus/SocketClaim.h"

#include "common/BusAddress.h"

#include <tavix/SocketUtil.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string directoryOf(std::string const& path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

SocketClaim::SocketClaim(std::string const& path) : _path(path), _directory(directoryOf(path))
{
}

SocketClaim::~SocketClaim()
{
    unlock();
    withdraw();
}

void SocketClaim::withdraw()
{
    struct stat found;
    if (_made && lstat(_path.c_str(), &found) == 0 && found.st_dev == _device && found.st_ino == _inode)
        unlink(_path.c_str());
    _made = false;
}

bool SocketClaim::lock(std::string& error)
{
    if (!fitsSocketAddress(_path)) {
        error = "the path " + _path + " does not fit a Unix domain socket, which takes 1 to 107 bytes";
        return false;
    }
    _lockFd = ::open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (_lockFd < 0 && errno != EACCES) {
        error = "cannot open the socket " + _path + ": directory " + _directory + ": " + std::strerror(errno);
        return false;
    }
    // A directory that cannot be read, or is on a file system without locks, does not keep a broker from
    // serving: only the guard against a second one that starts in the same moment is missing.
    if (_lockFd >= 0 && flock(_lockFd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        std::fprintf(stderr, "tavix-bus: waiting for the lock on directory %s, which another broker holds\n",
                     _directory.c_str());
        flock(_lockFd, LOCK_EX);
    }
    return true;
}

void SocketClaim::unlock()
{
    if (_lockFd >= 0)
        close(_lockFd);
    _lockFd = -1;
}

int SocketClaim::open(std::string& error)
{
    if (!makeRoom(error))
        return -1;
    int fd = startUnixDomainServer(_path.c_str());
    if (fd < 0) {
        error = "cannot open the socket " + _path + ": " + std::strerror(errno);
        return -1;
    }
    setCloseOnExec(fd);
    struct stat made;
    if (lstat(_path.c_str(), &made) == 0) {
        _made = true;
        _device = made.st_dev;
        _inode = made.st_ino;
    }
    unlock();
    return fd;
}

bool SocketClaim::makeRoom(std::string& error)
{
    struct stat found;
    if (lstat(_path.c_str(), &found) != 0) {
        if (errno == ENOENT)
            return true;
        error = "cannot open the socket " + _path + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISSOCK(found.st_mode)) {
        error = _path + " exists and is not a socket; it is left alone";
        return false;
    }
    // Not blocking: a broker whose queue of newcomers is full is there as well (EAGAIN).
    int fd = connectOnce(_path, SOCK_NONBLOCK);
    if (fd >= 0)
        close(fd);
    if (fd >= 0 || errno == EAGAIN) {
        error = "a broker serves at " + _path + " already";
        return false;
    }
    if (errno == ECONNREFUSED)
        return removeStale(error);
    error = "cannot tell whether a broker serves at " + _path + ": " + std::strerror(errno);
    return false;
}

bool SocketClaim::removeStale(std::string& error)
{
    if (unlink(_path.c_str()) == 0 || errno == ENOENT)
        return true;
    error = "cannot replace " + _path + ", which a broker left behind: " + std::strerror(errno);
    return false;
}
