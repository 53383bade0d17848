#ifndef TAVIX_SENDQUEUEINTERNAL_H
#define TAVIX_SENDQUEUEINTERNAL_H

#include "tavix/Connection.h"
#include "tavix/foundation/SingleThreaded.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <sys/uio.h>
#include <utility>

namespace Tavix {

// What one send takes.
class SendBatch {
public:
    bool hasRoom() const { return _pieceCount < kMaxPieces && _bytes < kEnoughBytes; }

    // Lends the message's bytes from `from` on. There is room.
    void add(Message const& message, unsigned from)
    {
        if (message.parts.empty())
            _pieces[_pieceCount++] = {message.data + from, message.size - from};
        else
            _pieceCount += message.gather(from, _pieces + _pieceCount, kMaxPieces - _pieceCount);
        _bytes +=
            message.size - from; // more than the pieces hold when they are used up; no more are added then
    }

    // As send(2).
    ssize_t send(int fd);

    // Bytes; what did not fit into the pieces counts as well.
    size_t size() const { return _bytes; }

private:
    static constexpr int kMaxPieces = 128;
    static constexpr size_t kEnoughBytes = 65536; // about what a socket takes anyway

    iovec _pieces[kMaxPieces];
    int _pieceCount = 0;
    size_t _bytes = 0;
};

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

    // Lends the first messages. Only the holder of the write lock takes any out, so they stay.
    void lendTo(SendBatch& batch)
    {
        Ferrule::Guard<std::mutex> guard(queueLock);
        for (auto message = messages.begin(); message != messages.end() && batch.hasRoom(); ++message)
            batch.add(**message, 0);
    }

    std::mutex writeLock;
    std::mutex queueLock;
    std::deque<SharedPtr<Message>> messages; // guarded by the queue lock
    // Their number, changed under the queue lock. A thread that queues a message looks here itself
    // afterwards, so finding 0 without the lock strands no message.
    std::atomic<std::size_t> count{0};
};

} // namespace Tavix

#endif
