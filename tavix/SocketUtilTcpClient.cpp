// The TCP client: address texts, name lookup, connecting.
#include "tavix/SocketUtil.h"
#include "tavix/SocketUtilInternal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr long kDefaultTcpPort = 5010;
constexpr long kMaxTcpPort = 65535;
char const* const kDefaultTcpHost = "127.0.0.1";

struct AddressListDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
typedef std::unique_ptr<addrinfo, AddressListDeleter> AddressList;

AddressList lookUp(char const* host)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int rc = getaddrinfo(host, nullptr, &hints, &list);
    if (rc == 0)
        return AddressList(list);
    fprintf(stderr, "%s: %s\n", host, gai_strerror(rc));
    return nullptr;
}

addrinfo* chooseAddress(addrinfo* list, char const* host)
{
    for (addrinfo* entry = list; entry; entry = entry->ai_next) {
        const bool isIp = entry->ai_family == AF_INET || entry->ai_family == AF_INET6;
        if (isIp && entry->ai_socktype == SOCK_STREAM)
            return entry;
    }
    fprintf(stderr, "%s: no appropriate address found\n", host);
    return nullptr;
}

void storePort(sockaddr* address, long port)
{
    const in_port_t bigEndian = htons(static_cast<in_port_t>(port));
    if (address->sa_family == AF_INET6)
        reinterpret_cast<sockaddr_in6*>(address)->sin6_port = bigEndian;
    else
        reinterpret_cast<sockaddr_in*>(address)->sin_port = bigEndian;
}

int connectTo(addrinfo const& entry, char const* host)
{
    const int fd = socket(entry.ai_family, SOCK_STREAM, 0);
    if (fd < 0) {
        fprintf(stderr, "%s: failed to create AF_INET socket: %s\n", "connectToServerTCP", strerror(errno));
        return fd;
    }
    if (connect(fd, entry.ai_addr, entry.ai_addrlen) == 0)
        return fd;
    perror(host);
    close(fd);
    return -1;
}

} // namespace

Tavix::TcpAddress Tavix::parseTcpAddress(char const* address)
{
    TcpAddress result{kDefaultTcpHost, kDefaultTcpPort};
    if (!address || !*address)
        return result;
    char const* colon = strchr(address, ':');
    const bool manyColons = colon && strchr(colon + 1, ':');
    char const* format = manyColons ? "%*[[]%m[^]]%*[^:]:%ld" : "%m[^:]:%ld";
    char* host = nullptr;
    const int matched = sscanf(address, format, &host, &result.port);
    result.host = matched > 0 ? host : address;
    free(host);
    return result;
}

int connectToServerTCP(char const* address)
{
    const Tavix::TcpAddress target = Tavix::parseTcpAddress(address);
    char const* host = target.host.c_str();
    printf("Address=%s using port %ld\n", host, target.port);
    if (target.port < 1 || target.port > kMaxTcpPort) {
        fprintf(stderr, "%s: %ld is not a valid tcp port number\n", host, target.port);
        return -1;
    }
    const AddressList list = lookUp(host);
    addrinfo* entry = list ? chooseAddress(list.get(), host) : nullptr;
    if (!entry)
        return -1;
    storePort(entry->ai_addr, target.port);
    return connectTo(*entry, host);
}
