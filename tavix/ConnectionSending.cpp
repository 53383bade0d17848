// Sending: one queue, and one message taken out of it that is being sent. A full socket leaves that message
// where it is, so the order holds. A send that gathers lends the messages behind it from the queue, and takes
// out those that the socket took. The write lock guards the message being sent and is held during the send;
// the queue lock guards the queue alone, so that queueing never waits for a send. Order: write lock, then
// queue lock.
#include "tavix/Connection.h"
#include "tavix/SendQueueInternal.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

namespace Tavix {

ssize_t SendBatch::send(int fd)
{
    if (_pieceCount == 1) // the cheaper call
        return ::send(fd, _pieces[0].iov_base, _pieces[0].iov_len, MSG_NOSIGNAL);
    msghdr header{};
    header.msg_iov = _pieces;
    header.msg_iovlen = static_cast<size_t>(_pieceCount);
    return sendmsg(fd, &header, MSG_NOSIGNAL);
}

Connection::Result Connection::sendMessage(SharedPtr<Message> const& message)
{
    if (message->size > kMaxFrameSize)
        return RESULT_MESSAGE_TOO_LARGE;
    _sendQueue->append(message);
    return RESULT_OK;
}

Connection::Result Connection::postMessage(SharedPtr<Message> const& message)
{
    if (message->size > kMaxFrameSize)
        return RESULT_MESSAGE_TOO_LARGE;
    Ferrule::Guard<std::mutex> guard(_sendQueue->writeLock);
    _checkSendQueue();
    if (_currentMessage.get())
        _sendQueue->append(message);
    else
        startWriteState(message);
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
    return _write(1, false);
}

int Connection::writeMessages(int sends)
{
    return _write(sends, true);
}

int Connection::_write(int sends, bool gathering)
{
    Ferrule::Guard<std::mutex> guard(_sendQueue->writeLock);
    if (_broken)
        return -1;
    bool full = false;
    for (int made = 0; made < sends && !full && _currentMessage.get(); ++made) {
        if (!_writeOnce(gathering, full)) {
            guard.unlock();
            handleBrokenConnection();
            return -1;
        }
    }
    return static_cast<int>(_writeLength - _written);
}

// One send, counted; a full socket takes only a part, or counts nothing. False when the connection is broken.
bool Connection::_writeOnce(bool gathering, bool& full)
{
    SendBatch batch;
    batch.add(*_currentMessage, _written);
    if (gathering && _sendQueue->count != 0)
        _sendQueue->lendTo(batch);
    ssize_t sent;
    do {
        sent = batch.send(_fd);
    } while (sent < 0 && errno == EINTR);
    const bool working = sent > 0 || (sent < 0 && errno == EAGAIN);
    const size_t counted = static_cast<size_t>(std::max<ssize_t>(sent, 0));
    full = counted < batch.size();
    _countSent(counted);
    return working;
}

// Behind each message that is done the next one becomes current.
void Connection::_countSent(size_t sent)
{
    while (_currentMessage.get() && sent >= _writeLength - _written) {
        sent -= _writeLength - _written;
        resetWriteState();
        _checkSendQueue();
    }
    _written += static_cast<unsigned>(sent);
}

void Connection::startWriteState(SharedPtr<Message> message)
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

} // namespace Tavix
