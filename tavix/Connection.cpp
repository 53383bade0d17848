// Receiving: the size field comes into _sizeField, then the body into a buffer that has room for the size
// field in front and a zero byte behind; the buffer becomes the message, so a forwarded frame is never
// copied.
//
// Sending: one queue, and one message taken out of it that is being sent. A full socket leaves that message
// where it is, so the order holds. The write lock guards the message being sent and is held during the send;
// the queue lock guards the queue alone, so that queueing never waits for a send. Order: write lock, then
// queue lock.
//
// handleBrokenConnection may end in the deletion of the connection: it is called last and without locks.
#include "tavix/Connection.h"

#include "tavix/SocketUtil.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <new>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Tavix {

namespace {

constexpr unsigned kMinBodyLength = kHeaderLength - kSizeFieldLength;

// More than a frame within the limit can have: its shared parts are of kSharedLength bytes at least.
constexpr int kMaxPieces = 2 * (Connection::kMaxFrameSize / kSharedLength) + 1;

} // namespace

struct Connection::SendQueue {
    // Without memory for an entry the process ends here, as it does for a message record.
    void append(SharedPtr<Message> const& message) noexcept
    {
        Ferrule::Guard<std::mutex> guard(queueLock);
        messages.push_back(message);
        count = messages.size();
    }

    // The queue is not empty.
    SharedPtr<Message> takeFirst()
    {
        Ferrule::Guard<std::mutex> guard(queueLock);
        SharedPtr<Message> first = std::move(messages.front());
        messages.pop_front();
        count = messages.size();
        return first;
    }

    std::mutex writeLock;
    std::mutex queueLock;
    std::deque<SharedPtr<Message>> messages; // guarded by the queue lock
    // Their number, changed under the queue lock. A thread that queues a message looks here itself
    // afterwards, so finding 0 without the lock strands no message.
    std::atomic<std::size_t> count{0};
};

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

Connection::Result Connection::sendMessage(SharedPtr<Message> const& message)
{
    if (message->size > kMaxFrameSize)
        return RESULT_MESSAGE_TOO_LARGE;
    _sendQueue->append(message);
    return RESULT_OK;
}

int Connection::checkSendQueue()
{
    Ferrule::Guard<std::mutex> guard(_sendQueue->writeLock);
    return _checkSendQueue();
}

int Connection::_checkSendQueue()
{
    if (_currentMessage.get() || _sendQueue->count == 0)
        return 0;
    startWriteState(_sendQueue->takeFirst());
    return 1;
}

int Connection::writeData()
{
    return writeMessages(1);
}

int Connection::writeMessages(int limit)
{
    Ferrule::Guard<std::mutex> guard(_sendQueue->writeLock);
    if (_broken)
        return -1;
    for (int done = 0; done < limit && _currentMessage.get(); ++done) {
        if (!_writeCurrent()) {
            guard.unlock();
            handleBrokenConnection();
            return -1;
        }
        if (_written < _writeLength)
            break;
        resetWriteState();
        _checkSendQueue();
    }
    return static_cast<int>(_writeLength - _written);
}

// One send, counted; a full socket counts nothing. False when the connection is broken.
bool Connection::_writeCurrent()
{
    ssize_t sent;
    do {
        sent = _sendCurrent();
    } while (sent < 0 && errno == EINTR);
    if (sent > 0)
        _written += static_cast<unsigned>(sent);
    return sent > 0 || (sent < 0 && errno == EAGAIN);
}

// One send of what is left of the current message.
long Connection::_sendCurrent()
{
    Message const& message = *_currentMessage;
    if (message.parts.empty())
        return send(_fd, message.data + _written, _writeLength - _written, MSG_NOSIGNAL);
    iovec pieces[kMaxPieces];
    msghdr header{};
    header.msg_iov = pieces;
    header.msg_iovlen = static_cast<size_t>(message.gather(_written, pieces, kMaxPieces));
    return sendmsg(_fd, &header, MSG_NOSIGNAL);
}

void Connection::startWriteState(SharedPtr<Message>&& message)
{
    _currentMessage = std::move(message);
    _writeLength = _currentMessage->size;
    _written = 0;
}

void Connection::resetWriteState()
{
    _currentMessage = SharedPtr<Message>();
    _writeLength = 0;
    _written = 0;
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
