#ifndef TAVIX_BENCH_COMMON_PROCESS_H
#define TAVIX_BENCH_COMMON_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace Bench {

// A descriptor that is closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : _fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : _fd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const { return _fd; }
    int release();

private:
    int _fd;
};

// Two ends of a stream socket, both close-on-exec.
struct SocketPair {
    SocketPair();
    Descriptor first;
    Descriptor second;
};

// A child process. It ends with this one at the latest.
class Process {
public:
    // Starts the program arguments[0]. kept: descriptors that it inherits under their own numbers.
    // output: its standard output; -1 shares this process's.
    Process(std::vector<std::string> const& arguments, std::vector<int> const& kept, int output = -1,
            int error = -1);
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;

    // Asks it to end, and ends it when it has not after five seconds.
    ~Process();

    pid_t pid() const { return _pid; }

    // The CPU time that it has used, in microseconds.
    double cpuMicroseconds() const;

    // Its memory that is not swapped out, in bytes.
    std::size_t residentBytes() const;

    // Sends the signal and waits for the end, for at most five seconds.
    void endBy(int signal);

private:
    pid_t _pid;
};

// Reads exactly that many bytes within the time; false when the time passes or the far end closes.
bool readWithin(int fd, void* data, std::size_t length, unsigned seconds);

// Reads up to and with the text; false when the time passes or the far end closes before it has come.
bool waitForText(int fd, std::string const& text, unsigned seconds);

} // namespace Bench

#endif
