#ifndef TAVIX_PROGRAMS_TAVIXCTL_INTERRUPTION_H
#define TAVIX_PROGRAMS_TAVIXCTL_INTERRUPTION_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

// What ends a command that would run on and on: SIGINT, SIGTERM and the end of whoever read its output. From
// the construction on the two signals are blocked and kept. It wakes the loop, and it is one descriptor for
// whoever waits outside of the loop.
class Interruption {
public:
    // Shares the loop. output: the descriptor that is written to; -1 and a regular file have no reader.
    Interruption(int output, SharedPtr<Tavix::PollLoopIf> const& loop);
    ~Interruption();
    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    bool happened() const;

    // Lends a descriptor that is readable once it has happened.
    int descriptor() const { return _fd; }

private:
    SharedPtr<Tavix::PollLoopIf> _loop;
    int _signals;
    int _fd; // an epoll set of both
    void** _source = nullptr;
};

#endif
