#include "common/FloorSocket.h"

#include <tavix/SocketUtil.h>
#include <tavix/elements/EESFormat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

namespace {

const std::size_t kLargestFrame = 0x30000 + Tavix::kSizeFieldLength;

} // namespace

// The buffer is touched here, so that no page of it is new to the measurement.
FloorSocket::FloorSocket(int fd, int bufferSize) : _fd(fd), _buffer(new unsigned char[kLargestFrame])
{
    std::memset(_buffer.get(), 0, kLargestFrame);
    setNonblocking(fd);
    if (bufferSize > 0)
        setSocketBufferSize(fd, bufferSize);
}

FloorSocket::~FloorSocket()
{
    close(_fd);
}

bool FloorSocket::receive()
{
    if (_have < Tavix::kSizeFieldLength) {
        if (!read(Tavix::kSizeFieldLength))
            return false;
        _length = Tavix::kSizeFieldLength + Tavix::readBigEndian32(_buffer.get());
        if (_length > kLargestFrame)
            std::abort();
    }
    if (!read(_length))
        return false;
    _have = 0;
    return true;
}

// recv and send are a little cheaper on a socket than read and write.
bool FloorSocket::read(std::size_t wanted)
{
    const ssize_t got = recv(_fd, _buffer.get() + _have, wanted - _have, 0);
    if (got == 0 || (got < 0 && errno != EAGAIN))
        std::exit(0);
    if (got > 0)
        _have += static_cast<std::size_t>(got);
    return _have == wanted;
}

void FloorSocket::send(unsigned char const* data, std::size_t length)
{
    _next = data;
    _unsent = length;
    sendMore();
}

void FloorSocket::sendMore()
{
    const ssize_t sent = ::send(_fd, _next, _unsent, MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN)
        std::exit(0);
    if (sent > 0) {
        _next += sent;
        _unsent -= static_cast<std::size_t>(sent);
    }
}

} // namespace Bench
