#include "common/BusAddress.h"

#include <tavix/SocketPath.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

bool fitsSocketAddress(std::string const& path)
{
    return !path.empty() && path.size() < sizeof(sockaddr_un::sun_path);
}

bool findDefaultSocket(std::string& path, std::string& error)
{
    char const* directory = std::getenv("QZV_RUNTIME_DIR");
    if (directory && !fitsSocketAddress(directory + std::string("/tavix-server-uds"))) {
        error =
            "QZV_RUNTIME_DIR is too long for the path of a Unix domain socket, which has 107 bytes at most: ";
        error += directory;
        return false;
    }
    path = Tavix::getSocketPath();
    return true;
}

int connectOnce(std::string const& path, int typeFlags)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!fitsSocketAddress(path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | typeFlags, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
        return fd;
    int error = errno;
    close(fd);
    errno = error;
    return -1;
}
