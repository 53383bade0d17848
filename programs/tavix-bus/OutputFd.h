#ifndef TAVIX_PROGRAMS_TAVIX_BUS_OUTPUTFD_H
#define TAVIX_PROGRAMS_TAVIX_BUS_OUTPUTFD_H

#include <string_view>
#include <sys/types.h>

// A descriptor of the process's output, written without ever waiting.
//
// Whether a write waits is a flag of the open file, which this process shares with whoever started it and
// with whom it starts: it cannot be set for one of them alone. So a pipe, a FIFO and a terminal are opened
// once more, a socket is written by calls that say it themselves, and a regular file never waits. What can
// not be opened again is asked first, and gets no more than one free page of a pipe takes.
class OutputFd {
public:
    // What one write takes as a whole or not at all, in a pipe.
    static constexpr size_t kAtOnce = 4096;

    // Lends fd, which stays as it is.
    explicit OutputFd(int fd);
    ~OutputFd();
    OutputFd(OutputFd const&) = delete;
    OutputFd& operator=(OutputFd const&) = delete;

    // Writes up to kAtOnce bytes. How many were taken; 0 when it would have to wait; -1 when nobody takes them.
    ssize_t write(std::string_view text) const;

    // The descriptor to watch for room.
    int get() const { return _fd; }

private:
    enum Kind { kDirect, kSocket, kAskFirst };

    int _fd;
    Kind _kind = kDirect;
    bool _own = false;
};

#endif
