// Receiving: the size field comes into _sizeField, then the body into a buffer that has room for the size
// field in front and a zero byte behind; the buffer becomes the message, so a forwarded frame is never
// copied.
//
// handleBrokenConnection may end in the deletion of the connection: it is called last and without locks.
#include "tavix/Connection.h"

#include "tavix/SendQueueInternal.h"
#include "tavix/SocketUtil.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/foundation/Check.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sys/socket.h>
#include <unistd.h>

namespace Tavix {

namespace {

constexpr unsigned kMinBodyLength = kHeaderLength - kSizeFieldLength;

} // namespace

Connection::Connection(int clientId, int fd, void (*brokenCallback)(Connection*, void*), void* context)
    : _fd(fd), _clientId(clientId), _brokenCallback(brokenCallback), _context(context),
      _sendQueue(new (std::nothrow) SendQueue)
{
    TAVIX_CHECK(_sendQueue, "sendQueue");
    setNonblocking(fd);
    setCloseOnExec(fd);
    setName();
}

Connection::~Connection()
{
    if (_fd >= 0)
        close(_fd);
    releaseFrame(_pendingRequestBuffer, _messageLength + kSizeFieldLength);
    delete _sendQueue;
}

std::string Connection::getResultString(Result result)
{
    switch (result) {
    case RESULT_OK:
        return "OK";
    case RESULT_MESSAGE_TOO_LARGE:
        return "Message too large";
    }
    return "<invalid Connection::Result value>";
}

int Connection::readData(SharedPtr<Message>* message)
{
    *message = SharedPtr<Message>();
    if (_broken || !_readFrame()) {
        handleBrokenConnection();
        return -1;
    }
    if (_pendingRequestBuffer && _bodyRead == _messageLength)
        _takeMessage(message);
    return 0;
}

// Each of the reading steps answers false when the connection is broken.
bool Connection::_readFrame()
{
    if (!_pendingRequestBuffer && !_readSize())
        return false;
    return !_pendingRequestBuffer || _readBody();
}

bool Connection::_readSize()
{
    if (!_readBytes(_sizeField + _headerRead, kSizeFieldLength - _headerRead, _headerRead))
        return false;
    if (_headerRead < kSizeFieldLength)
        return true;
    _messageLength = readBigEndian32(_sizeField);
    if (!_acceptSize())
        return false;
    auto* pendingRequestBuffer =
        static_cast<unsigned char*>(allocateFrame(_messageLength + kSizeFieldLength + 1));
    TAVIX_CHECK(pendingRequestBuffer, "pendingRequestBuffer != __null");
    writeBigEndian32(pendingRequestBuffer, _messageLength);
    _pendingRequestBuffer = pendingRequestBuffer;
    return true;
}

// Receivers read the header fields of a message without looking at its length.
bool Connection::_acceptSize()
{
    if (_messageLength > kMaxFrameSize) {
        fprintf(stderr, "Incoming message too large (%u), Disconnecting client %d\n", _messageLength,
                _clientId);
        return false;
    }
    if (_messageLength < kMinBodyLength) {
        fprintf(stderr, "Incoming message too short (%u), Disconnecting client %s\n", _messageLength,
                getName().c_str());
        return false;
    }
    return true;
}

bool Connection::_readBody()
{
    return _readBytes(_pendingRequestBuffer + kSizeFieldLength + _bodyRead, _messageLength - _bodyRead,
                      _bodyRead);
}

// One read, counted; an empty socket counts nothing.
bool Connection::_readBytes(unsigned char* target, unsigned missing, unsigned& count)
{
    ssize_t got;
    do {
        got = recv(_fd, target, missing, 0); // cheaper than read on a socket
    } while (got < 0 && errno == EINTR);
    if (got > 0)
        count += static_cast<unsigned>(got);
    return got > 0 || (got < 0 && errno == EAGAIN);
}

void Connection::_takeMessage(SharedPtr<Message>* message)
{
    const unsigned size = _messageLength + kSizeFieldLength;
    _pendingRequestBuffer[size] = 0; // a text at the end of a frame is terminated
    *message = SharedPtr<Message>(new (std::nothrow) Message(_pendingRequestBuffer, size));
    (*message)->clientId = _clientId;
    resetReadState();
}

void Connection::resetReadState()
{
    _headerRead = 0;
    _messageLength = 0;
    _bodyRead = 0;
    _pendingRequestBuffer = nullptr;
}

void Connection::shutdownSocket()
{
    shutdown(_fd, SHUT_RDWR);
}

void Connection::handleBrokenConnection()
{
    if (!_broken.exchange(true) && _brokenCallback)
        _brokenCallback(this, _context);
}

} // namespace Tavix
