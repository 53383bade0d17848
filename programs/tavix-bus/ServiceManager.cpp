#include "tavix-bus/ServiceManager.h"

#include <tavix/SocketUtil.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>

ServiceManager::ServiceManager() : _passed(sd_listen_fds(1))
{
    if (char const* socket = std::getenv("NOTIFY_SOCKET"))
        _notifySocket = socket;
    unsetenv("NOTIFY_SOCKET");
}

bool ServiceManager::takeSockets(int& unixListener, int& tcpListener, std::string& error) const
{
    unixListener = tcpListener = -1;
    if (_passed < 0) {
        error = std::string("cannot take the sockets that LISTEN_FDS tells of: ") + std::strerror(-_passed);
        return false;
    }
    for (int fd = SD_LISTEN_FDS_START; fd < SD_LISTEN_FDS_START + _passed; ++fd) {
        int* place = nullptr;
        if (sd_is_socket_unix(fd, SOCK_STREAM, 1, nullptr, 0) > 0)
            place = &unixListener;
        else if (sd_is_socket_inet(fd, AF_UNSPEC, SOCK_STREAM, 1, 0) > 0)
            place = &tcpListener;
        if (!place || *place >= 0) {
            error = "descriptor " + std::to_string(fd) + ", which was passed, is ";
            error += place ? "a second listener of its kind" : "no listening Unix stream or TCP socket";
            return false;
        }
        *place = fd;
        setNonblocking(fd);
    }
    return true;
}

void ServiceManager::tellReloading() const
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(now.tv_sec * 1000000LL + now.tv_nsec / 1000));
}

void ServiceManager::tell(std::string const& state) const
{
    if (_notifySocket.empty())
        return;
    setenv("NOTIFY_SOCKET", _notifySocket.c_str(), 1);
    sd_notify(1, state.c_str()); // takes the variable out again
}
