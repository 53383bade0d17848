#ifndef TAVIX_BENCH_PEERS_ZEROMQSOCKET_H
#define TAVIX_BENCH_PEERS_ZEROMQSOCKET_H

#include "common/Fail.h"

#include <cerrno>
#include <string>
#include <zmq.h>

namespace Bench {

inline void checkZeroMq(bool good)
{
    if (!good)
        fail(zmq_strerror(errno));
}

// This process's context. Nothing closes it: its processes are ended from outside.
inline void* zeroMqContext()
{
    static void* const context = zmq_ctx_new();
    return context;
}

// A message that has come, reused for the next one.
class ZeroMqMessage {
public:
    ZeroMqMessage() { zmq_msg_init(&_message); }
    ZeroMqMessage(ZeroMqMessage const&) = delete;
    ZeroMqMessage& operator=(ZeroMqMessage const&) = delete;
    ~ZeroMqMessage() { zmq_msg_close(&_message); }

    zmq_msg_t* get() { return &_message; }
    std::string text()
    {
        return std::string(static_cast<char const*>(zmq_msg_data(&_message)), zmq_msg_size(&_message));
    }

private:
    zmq_msg_t _message;
};

// A socket whose queues have no limit, so that nothing is ever dropped. What is in flight has one.
class ZeroMqSocket {
public:
    explicit ZeroMqSocket(int type) : _socket(zmq_socket(zeroMqContext(), type))
    {
        checkZeroMq(_socket != nullptr);
        for (int option : {ZMQ_SNDHWM, ZMQ_RCVHWM, ZMQ_LINGER})
            set(option, 0);
    }
    ZeroMqSocket(ZeroMqSocket&& other) noexcept : _socket(other._socket) { other._socket = nullptr; }
    ZeroMqSocket& operator=(ZeroMqSocket&&) = delete;
    ~ZeroMqSocket()
    {
        if (_socket)
            zmq_close(_socket);
    }

    void* get() const { return _socket; }
    void set(int option, int value)
    {
        checkZeroMq(zmq_setsockopt(_socket, option, &value, sizeof value) == 0);
    }
    void bind(std::string const& address) { checkZeroMq(zmq_bind(_socket, address.c_str()) == 0); }
    void connect(std::string const& address) { checkZeroMq(zmq_connect(_socket, address.c_str()) == 0); }

    void send(std::string const& payload)
    {
        checkZeroMq(zmq_send(_socket, payload.data(), payload.size(), 0) >= 0);
    }
    // Takes what the message holds.
    void send(ZeroMqMessage& message, int flags = 0)
    {
        checkZeroMq(zmq_msg_send(message.get(), _socket, flags) >= 0);
    }
    void receive(ZeroMqMessage& message) { checkZeroMq(zmq_msg_recv(message.get(), _socket, 0) >= 0); }
    // False when nothing is there.
    bool receiveAtOnce(ZeroMqMessage& message)
    {
        const bool come = zmq_msg_recv(message.get(), _socket, ZMQ_DONTWAIT) >= 0;
        checkZeroMq(come || errno == EAGAIN);
        return come;
    }

private:
    void* _socket;
};

} // namespace Bench

#endif
