// How a connection names its peer for people to read.
#include "tavix/Connection.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Tavix {

namespace {

std::string trim(std::string const& text)
{
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ')
        ++begin;
    while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ')
        --end;
    return text.substr(begin, end - begin);
}

// The arguments in the file end with zero bytes, so what counts of each piece ends at its first one: normally
// the path of the executable. Empty for a process that has gone.
std::string readCommand(pid_t pid)
{
    const std::string path = "/proc/" + std::to_string(pid) + "/cmdline";
    FILE* file;
    do {
        file = fopen(path.c_str(), "re");
    } while (!file && errno == EINTR);
    if (!file)
        return std::string();
    std::string command;
    char piece[256];
    while (fgets(piece, sizeof piece, file))
        command += piece;
    fclose(file);
    return trim(command);
}

std::string describeUnixPeer(int fd)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0)
        return std::string();
    return "pid=" + std::to_string(peer.pid) + " , " + readCommand(peer.pid);
}

std::string describeIp4Peer(sockaddr_in const& peer)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
    return std::string("[") + text + ":" + std::to_string(ntohs(peer.sin_port));
}

std::string describeIp6Peer(sockaddr_in6 const& peer)
{
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, &peer.sin6_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(peer.sin6_port));
}

// Empty for a peer of which nothing can be told.
std::string describePeer(int fd)
{
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    if (fd < 0 || getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) != 0)
        return std::string();
    switch (peer.ss_family) {
    case AF_INET:
        return describeIp4Peer(reinterpret_cast<sockaddr_in const&>(peer));
    case AF_INET6:
        return describeIp6Peer(reinterpret_cast<sockaddr_in6 const&>(peer));
    case AF_UNIX:
        return describeUnixPeer(fd);
    default:
        return std::string();
    }
}

} // namespace

std::string Connection::getName() const
{
    return _fd < 0 ? "<no valid client>" : _name;
}

void Connection::setName()
{
    const std::string peer = describePeer(_fd);
    if (peer.empty())
        _name = "Unknown";
    else
        _name = "[ id=" + std::to_string(_clientId) + " fd=" + std::to_string(_fd) + " " + peer + "]";
}

} // namespace Tavix
