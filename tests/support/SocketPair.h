#ifndef TAVIX_TESTS_SUPPORT_SOCKETPAIR_H
#define TAVIX_TESTS_SUPPORT_SOCKETPAIR_H

#include <sys/socket.h>
#include <unistd.h>

// Two joined stream sockets that do not block, closed in the end unless they were given away.
class SocketPair {
public:
    SocketPair() { socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, _fds); }
    ~SocketPair()
    {
        close(near());
        close(far());
    }
    SocketPair(SocketPair const&) = delete;
    SocketPair& operator=(SocketPair const&) = delete;

    int near() const { return _fds[0]; }
    int far() const { return _fds[1]; }
    int giveNear() { return give(_fds[0]); }
    void closeFar() { close(give(_fds[1])); }

private:
    static int give(int& end)
    {
        const int fd = end;
        end = -1;
        return fd;
    }

    int _fds[2] = {-1, -1};
};

#endif
