#ifndef TAVIX_BENCH_COMMON_FLOORSOCKET_H
#define TAVIX_BENCH_COMMON_FLOORSOCKET_H

#include <cstddef>
#include <memory>

namespace Bench {

// One non-blocking socket with one frame in each direction.
class FloorSocket {
public:
    // Takes fd. bufferSize as in Options.
    FloorSocket(int fd, int bufferSize);
    FloorSocket(FloorSocket const&) = delete;
    FloorSocket& operator=(FloorSocket const&) = delete;
    ~FloorSocket();

    int fd() const { return _fd; }

    // Reads the size, then the body, one read each. True when the frame is complete: it stands in frame()
    // and frameLength() until the next call. Ends the process with status 0 when the peer has gone.
    bool receive();
    unsigned char const* frame() const { return _buffer.get(); }
    std::size_t frameLength() const { return _length; }

    // Sends a frame, or what the socket takes; lends the bytes until sending() is false.
    void send(unsigned char const* data, std::size_t length);
    void sendMore();
    bool sending() const { return _unsent > 0; }

private:
    bool read(std::size_t wanted);

    const int _fd;
    std::unique_ptr<unsigned char[]> _buffer;
    std::size_t _have = 0;
    std::size_t _length = 0; // of the whole frame, once its size field is there
    unsigned char const* _next = nullptr;
    std::size_t _unsent = 0;
};

} // namespace Bench

#endif
