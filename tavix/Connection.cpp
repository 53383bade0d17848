// Receiving: the size field comes into _sizeField, then the body into a buffer that has room for the size
// field in front and a zero byte behind; the buffer becomes the message, so a forwarded frame is never
// copied.
//
// With read-ahead both are taken from the bytes that one read has brought, and only the rest of a large frame is
// still read by itself. What a callback leaves of a small frame is already in that frame's buffer.
//
// A message that lends its bytes shares the buffer of that read. Handlers may wait and read on meanwhile: as long as
// such a message is about, the next read goes into another buffer.
//
// handleBrokenConnection may end in the deletion of the connection: it is called last and without locks.
#include "tavix/Connection.h"

#include "tavix/ReadBufferInternal.h"
#include "tavix/SendQueueInternal.h"
#include "tavix/SocketUtil.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/SharedBytes.h"
#include "tavix/foundation/Check.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/socket.h>
#include <unistd.h>

namespace Tavix {

namespace {

constexpr unsigned kMinBodyLength = kHeaderLength - kSizeFieldLength;

// What is read ahead behind a large frame.
constexpr unsigned kReadAheadOfLarge = 256;

// Values of a frame of this size and more may go on using its memory, and read ahead would keep a multiple of it.
constexpr unsigned kOwnFrame = kSharedLength - kSizeFieldLength;

static_assert(Connection::kReadAhead == ReadBuffer::kSize, "one read fills the buffer");

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
    if (_ahead)
        _ahead->unref();
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
    const bool working = !_broken && (!_ahead || _refill());
    if (working && _lending && _lendMessage(message))
        return 0;
    if (!working || !_readFrame()) {
        handleBrokenConnection();
        return -1;
    }
    if (_pendingRequestBuffer && _bodyRead == _messageLength)
        _takeMessage(message);
    return 0;
}

void Connection::readAhead(bool lending)
{
    char const* const wanted = std::getenv("TAVIX_READ_AHEAD");
    if (_ahead || (wanted && std::strcmp(wanted, "0") == 0))
        return;
    _ahead = new (std::nothrow) ReadBuffer;
    _lending = lending;
}

// A small frame that is all there. Nothing may be written over the frame behind it, whose first byte is the zero byte
// that is needed; if it is not, that size cannot be.
bool Connection::_lendMessage(SharedPtr<Message>* message)
{
    const unsigned there = _aheadEnd - _aheadBegin;
    if (_pendingRequestBuffer || _headerRead != 0 || there < kHeaderLength)
        return false;
    unsigned char* const frame = _ahead->bytes + _aheadBegin;
    const unsigned length = readBigEndian32(frame);
    const unsigned size = length + kSizeFieldLength;
    if (length < kMinBodyLength || length >= kOwnFrame || size > there)
        return false;
    if (size == there)
        frame[size] = 0;
    else if (frame[size] != 0)
        return false;
    _aheadBegin += size;
    _lastWasLarge = false;
    *message = SharedPtr<Message>(new (std::nothrow) Message(*_ahead, frame, size));
    (*message)->clientId = _clientId;
    return true;
}

// Each of the reading steps answers false when the connection is broken.
bool Connection::_readFrame()
{
    if (!_pendingRequestBuffer && !_readSize())
        return false;
    return !_pendingRequestBuffer || _readBody();
}

// One read, unless there is something left, or a large frame is being read. Large frames come in succession: what was
// read of one ahead has to be copied.
bool Connection::_refill()
{
    if (hasReadAhead() || (_pendingRequestBuffer && _messageLength >= kLargeFrame))
        return true;
    if (_ahead->isShared())
        _renewAhead();
    _aheadBegin = _aheadEnd = 0;
    return _receive(_ahead->bytes, _lastWasLarge ? kReadAheadOfLarge : kReadAhead, _aheadEnd);
}

void Connection::_renewAhead()
{
    _ahead->unref();
    _ahead = new (std::nothrow) ReadBuffer;
    TAVIX_CHECK(_ahead, "_ahead");
}

bool Connection::_readSize()
{
    const unsigned missing = kSizeFieldLength - _headerRead;
    if (_ahead)
        _takeAhead(_sizeField + _headerRead, missing, _headerRead);
    else if (!_receive(_sizeField + _headerRead, missing, _headerRead))
        return false;
    if (_headerRead < kSizeFieldLength)
        return true;
    _messageLength = readBigEndian32(_sizeField);
    if (!_acceptSize())
        return false;
    _lastWasLarge = _messageLength >= kLargeFrame;
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
    unsigned char* const body = _pendingRequestBuffer + kSizeFieldLength;
    if (_ahead) {
        _takeAhead(body + _bodyRead, _messageLength - _bodyRead, _bodyRead);
        if (_bodyRead == _messageLength || _messageLength < kLargeFrame)
            return true;
    }
    return _receive(body + _bodyRead, _messageLength - _bodyRead, _bodyRead);
}

// As much as is there.
void Connection::_takeAhead(unsigned char* target, unsigned missing, unsigned& count)
{
    const unsigned taken = std::min(missing, _aheadEnd - _aheadBegin);
    std::memcpy(target, _ahead->bytes + _aheadBegin, taken);
    _aheadBegin += taken;
    count += taken;
}

// One read, counted; an empty socket counts nothing.
bool Connection::_receive(unsigned char* target, unsigned missing, unsigned& count)
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
