#ifndef TAVIX_CONNECTION_H
#define TAVIX_CONNECTION_H

#include <tavix/Message.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/SharedPtr.h>

#include <atomic>
#include <string>

namespace Tavix {

// Carries whole messages both ways over one stream socket. A frame on the socket is a 4-byte big-endian size
// and that many bytes. The connection knows no loop: its owner calls readData when the socket is readable,
// and after sendMessage repeats
//
//     writeData() > 0     add the write watch and wait for the loop
//     writeData() == -1   the connection is broken
//     writeData() == 0    remove the write watch; checkSendQueue() == 0: done; 1: once more
//
// readData belongs to the loop's thread. sendMessage, writeData and the like may be called on any
// thread; messages leave whole and in the order in which they were queued.
//
// A break (end of file, a socket error, a frame size that cannot be) is told once, by the broken callback, on
// the thread that found it and with no lock held. The callback may delete the connection, which nothing
// touches after it. When it does not, readData and writeData keep answering -1.
class TAVIX_API Connection {
public:
    enum Result { RESULT_OK = 0, RESULT_MESSAGE_TOO_LARGE = 1 };

    // Limit of a frame: of an outgoing one with its size field, of an incoming one without.
    static constexpr unsigned kMaxFrameSize = 0x30000;

    // Takes the socket, which becomes non-blocking and close-on-exec. Lends `context` to the callback, which
    // may be null.
    Connection(int clientId, int fd, void (*brokenCallback)(Connection*, void*), void* context);

    // Closes the socket. Messages still queued are dropped.
    virtual ~Connection();

    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    // One step of receiving, at most one message: 0, or -1 when the connection is broken. *message holds the
    // message when its last byte has been read, else nothing.
    int readData(SharedPtr<Message>* message);

    // From now on readData takes what is there, up to kReadAhead bytes, out of one read, and hands it out message by
    // message. No loop reports what was read ahead, so in each callback the owner repeats readData while
    // hasReadAhead(), or sees to it that the loop calls back. That costs it two reads at most: the rest of a frame of
    // kLargeFrame bytes and more is read straight into the message. Stays off without memory, and with
    // TAVIX_READ_AHEAD=0 in the environment. To be called before the first readData.
    //
    // With `lending`, small messages share what was read, up to 64 KiB, instead of copying their bytes out of it: for
    // owners that have done with a message soon.
    void readAhead(bool lending = false);

    // readData goes on without a read.
    bool hasReadAhead() const { return _aheadBegin != _aheadEnd; }

    static constexpr unsigned kReadAhead = 65536;

    // One send of the current message: the bytes of it still unsent, 0 when there is none, -1 when the
    // connection is broken. When a message is done the next one becomes current, and the answer is that one's
    // length.
    int writeData();

    // The same over and over, until the queue is empty, the socket is full or `sends` sends are made. Each send
    // also takes what is queued behind the current message, up to a limit, so small messages leave many at a time.
    int writeMessages(int sends);

    // Queues the message behind all others; sends nothing. RESULT_MESSAGE_TOO_LARGE when it is above the
    // limit and was not queued.
    Result sendMessage(SharedPtr<Message> const& message);

    // sendMessage and checkSendQueue in one: the message itself becomes current when none is and none is queued.
    // Waits for a send by another thread.
    Result postMessage(SharedPtr<Message> const& message);

    // Makes the next message of the queue current: 1, or 0 when one is current already or none is queued.
    int checkSendQueue();

    int getClientId() const { return _clientId; }
    int getFd() const { return _fd; }

    // The peer, for people to read: its address, or its process and command. "<no valid client>" without a
    // socket.
    std::string getName() const;

    // Looks the peer up again. The constructor has done it once.
    void setName();

    // A place for the owner's loop source; the connection does not use it.
    void** getSource() const { return _source; }
    void setSource(void** source) { _source = source; }

    // A place for the owner's note that the loop will tell when the socket takes more; the connection does not
    // use it.
    bool isWatchedForWriting() const { return _watchedForWriting; }
    void setWatchedForWriting(bool watched) { _watchedForWriting = watched; }

    // Another one: that it owes the connection a write.
    bool isDueForWriting() const { return _dueForWriting; }
    void setDueForWriting(bool due) { _dueForWriting = due; }

    // Ends both directions of the socket and keeps the descriptor: a reader finds the end of file. Any
    // thread.
    void shutdownSocket();

    static std::string getResultString(Result result);

private:
    struct SendQueue;

    bool _lendMessage(SharedPtr<Message>* message);
    bool _readFrame();
    bool _refill();
    void _renewAhead();
    bool _readSize();
    bool _acceptSize();
    bool _readBody();
    void _takeAhead(unsigned char* target, unsigned missing, unsigned& count);
    bool _receive(unsigned char* target, unsigned missing, unsigned& count);
    void _takeMessage(SharedPtr<Message>* message);
    void resetReadState();

    void startWriteState(SharedPtr<Message> message);
    void resetWriteState();
    int _checkSendQueue();
    int _write(int sends, bool gathering);
    bool _writeOnce(bool gathering, bool& full);
    void _countSent(size_t sent);

    void handleBrokenConnection();

    void** _source = nullptr;
    bool _watchedForWriting = false;
    bool _dueForWriting = false;
    const int _fd;
    const int _clientId;
    void (*const _brokenCallback)(Connection*, void*);
    void* const _context;
    std::string _name;
    std::atomic<bool> _broken{false}; // the callback has run or is running

    // The frame being received: of the loop's thread.
    unsigned char _sizeField[4];
    unsigned _headerRead = 0;                       // bytes of the size field that have come, 0 to 4
    unsigned _messageLength = 0;                    // the size field's value, once it is complete
    unsigned _bodyRead = 0;                         // bytes behind the size field that have come
    unsigned char* _pendingRequestBuffer = nullptr; // owned; null before the size field is complete

    // What was read ahead: of the loop's thread.
    ReadBuffer* _ahead = nullptr; // one reference; null unless the owner asked for it
    bool _lending = false;
    unsigned _aheadBegin = 0;
    unsigned _aheadEnd = 0;
    bool _lastWasLarge = false;

    // The message being sent: guarded by the write lock.
    SharedPtr<Message> _currentMessage; // empty when none is
    unsigned _writeLength = 0;
    unsigned _written = 0;

    SendQueue* _sendQueue; // owned: the queue and both locks
};

} // namespace Tavix

#endif
