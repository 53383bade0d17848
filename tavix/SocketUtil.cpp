// The sockets of both ends of a connection. Where one of these functions fails, it closes what it has opened.
#include "tavix/SocketUtil.h"

#include "tavix/SocketUtilInternal.h"
#include "tavix/foundation/Check.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kDefaultTcpPort = 5010;
constexpr int kBacklog = 2;
constexpr int kMaxRetries = 10;
constexpr std::size_t kMaxNameLength = 107;

// A cut abstract name fills the path field to its last byte and has no zero byte behind it.
std::string shownName(sockaddr_un const& address, unsigned offset)
{
    return std::string(address.sun_path + offset, strnlen(address.sun_path + offset, kMaxNameLength));
}

// errno still tells what failed before.
int closeAndAnswer(int fd, int answer)
{
    const int error = errno;
    close(fd);
    errno = error;
    return answer;
}

// A failed write to standard output must not hide why the bind failed.
void reportBind(std::string const& name, int error)
{
    printf("Bind on %s failed errno=%d '%s'\n", name.c_str(), error, strerror(error));
    errno = error;
}

// `length` is what counts of the address. Without a name the kernel would choose one that nobody knows.
bool bindUnixDomain(int fd, sockaddr_un const& address, socklen_t length, unsigned offset)
{
    if (!address.sun_path[offset])
        errno = EINVAL;
    else if (bind(fd, reinterpret_cast<sockaddr const*>(&address), length) == 0)
        return true;
    reportBind(shownName(address, offset), errno);
    return false;
}

bool listenUnixDomain(int fd)
{
    if (listen(fd, kBacklog) == 0)
        return true;
    printf("Listen failed errno=%d '%s'\n", errno, strerror(errno));
    return false;
}

int bindToAnyAddress(int fd, int family, int port)
{
    if (family == AF_INET6) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_any;
        address.sin6_port = htons(static_cast<uint16_t>(port));
        return bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
}

} // namespace

sockaddr_un Tavix::makeUnixAddress(char const* name, unsigned offset)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + offset, name, strnlen(name, kMaxNameLength));
    return address;
}

int Tavix::connectUnixDomain(char const* name, unsigned offset, unsigned secondsBetweenAttempts,
                             char const* function)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) {
        printf("Failed to create unix domain socket: %s\n", strerror(errno));
        return -1;
    }
    const sockaddr_un address = makeUnixAddress(name ? name : "", offset);
    for (int retries = 0; connect(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0;) {
        const int error = errno;
        if (retries > kMaxRetries) {
            printf("%s(pid:%d): Error trying to connect to %s:%s\r\n", function, static_cast<int>(getpid()),
                   shownName(address, offset).c_str(), strerror(error));
            return closeAndAnswer(fd, -1);
        }
        sleep(secondsBetweenAttempts);
        if (error != EINTR)
            ++retries;
    }
    return fd;
}

int connectToServerUnixDomain(char const* path)
{
    return Tavix::connectUnixDomain(path, 0, 1, __func__);
}

int connectToServerAbstractUnixDomain(char const* name)
{
    return Tavix::connectUnixDomain(name, 1, 1, __func__);
}

int startUnixDomainServer(char const* path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) {
        printf("Failed to create unix domain socket: %s\n", strerror(errno));
        return -1;
    }
    setNonblocking(fd);
    const sockaddr_un address = Tavix::makeUnixAddress(path ? path : "", 0);
    unlink(address.sun_path);
    const socklen_t length =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + strlen(address.sun_path));
    if (!bindUnixDomain(fd, address, length, 0))
        return closeAndAnswer(fd, -1);
    chmod(address.sun_path, 0777);
    return listenUnixDomain(fd) ? fd : closeAndAnswer(fd, -1);
}

int startAbstractUnixDomainServer(char const* name)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) {
        printf("Failed to create AF_UNIX socket: %s\n", strerror(errno));
        return -1;
    }
    setNonblocking(fd);
    const sockaddr_un address = Tavix::makeUnixAddress(name ? name : "", 1);
    if (!bindUnixDomain(fd, address, sizeof address, 1) || !listenUnixDomain(fd))
        return closeAndAnswer(fd, -1);
    return fd;
}

int Tavix::getDefaultTcpServerPort()
{
    char const* text = getenv("TAVX_TCPPORT");
    if (!text)
        return kDefaultTcpPort;
    const long port = strtol(text, nullptr, 10);
    if (port >= 1 && port <= 65535)
        return static_cast<int>(port);
    fprintf(stderr, "TAVX_TCPPORT value %s it not a valid tcp port number; ignoring it\n", text);
    return kDefaultTcpPort;
}

int startTCPServer(int port)
{
    return setupTCPServer(port != 0 ? port : Tavix::getDefaultTcpServerPort());
}

int setupTCPServer(int port)
{
    int family = AF_INET6;
    int fd = socket(family, SOCK_STREAM, 0);
    if (fd < 0) {
        family = AF_INET;
        fd = socket(family, SOCK_STREAM, 0);
    }
    if (fd < 0)
        return -1;
    setNonblocking(fd);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bindToAnyAddress(fd, family, port) != 0) {
        reportBind(std::to_string(port), errno);
        return closeAndAnswer(fd, family == AF_INET6 ? -3 : -2);
    }
    if (listen(fd, kBacklog) != 0) {
        perror("listen failed");
        return closeAndAnswer(fd, -4);
    }
    return fd;
}

int setNonblocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    return fcntl(fd, F_SETFL, flags < 0 ? O_NONBLOCK : flags | O_NONBLOCK);
}

int setBlocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    return fcntl(fd, F_SETFL, flags < 0 ? 0 : flags & ~O_NONBLOCK);
}

int setCloseOnExec(int fd)
{
    const int flags = fcntl(fd, F_GETFD);
    return fcntl(fd, F_SETFD, flags < 0 ? FD_CLOEXEC : flags | FD_CLOEXEC);
}

int setSocketBufferSize(int fd, int size)
{
    int rc = setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    TAVIX_CHECK(rc == 0, "rc == 0");
    rc = setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    TAVIX_CHECK(rc == 0, "rc == 0");
    return rc;
}
