#include "tavix-bus/Listeners.h"

#include "common/BusAddress.h"

#include <tavix/SocketUtil.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

// "@" and a name for an abstract address.
std::string pathOf(int fd)
{
    sockaddr_un address{};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    const size_t start = offsetof(sockaddr_un, sun_path);
    if (length <= start)
        return "a socket without a name";
    std::string path(address.sun_path, length - start);
    if (path[0] == '\0')
        path[0] = '@';
    return path.c_str(); // up to the end that the kernel counts in
}

int portOf(int fd)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    // The port stands at the same place in both kinds of address.
    return ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
}

} // namespace

bool Listeners::prepare(Options const& options, ServiceManager const& manager, std::string& error)
{
    if (!manager.takeSockets(_local, _tcp, error))
        return false;
    if (_local >= 0 && !options.address.empty())
        error = "a Unix domain socket was passed, and --address asks for another one";
    else if (_tcp >= 0 && options.onTcp)
        error = "a TCP socket was passed, and --tcp asks for another one";
    if (!error.empty())
        return false;
    if (_local >= 0) {
        _path = pathOf(_local);
        return true;
    }
    _path = options.address;
    if (_path.empty() && !findDefaultSocket(_path, error))
        return false;
    return _claim.emplace(_path).lock(error);
}

bool Listeners::open(Options const& options, std::string& error)
{
    if (_claim)
        _local = _claim->open(error);
    if (_local < 0 || (options.onTcp && !openTcp(options, error)))
        return false;
    leadChildrenHere();
    return true;
}

bool Listeners::openTcp(Options const& options, std::string& error)
{
    _tcp = startTCPServer(options.tcpPort);
    if (_tcp >= 0)
        return setCloseOnExec(_tcp) == 0;
    error = "cannot listen on ";
    error += options.tcpPort ? "TCP port " + std::to_string(options.tcpPort) : "the default TCP port";
    error += std::string(": ") + std::strerror(errno);
    return false;
}

// What the broker starts looks for it in the directory that QZV_RUNTIME_DIR names. A socket of another name
// cannot be found there.
void Listeners::leadChildrenHere() const
{
    std::error_code ignored;
    const std::filesystem::path path = std::filesystem::absolute(_path, ignored);
    if (_path[0] != '@' && path.filename() == "tavix-server-uds" && fitsSocketAddress(path))
        setenv("QZV_RUNTIME_DIR", path.parent_path().c_str(), 1);
}

void Listeners::announce() const
{
    std::printf("tavix-bus: serving at %s", _path.c_str());
    if (_tcp >= 0)
        std::printf(" and on TCP port %d", portOf(_tcp));
    std::printf("\n");
}

void Listeners::withdraw()
{
    if (_claim)
        _claim->withdraw();
}
