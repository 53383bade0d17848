#ifndef TAVIX_PROGRAMS_TAVIXCTL_DEADLINE_H
#define TAVIX_PROGRAMS_TAVIXCTL_DEADLINE_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

// A limit of time for everything that one command does, counted from the construction. It ends a wait in the
// loop as a source, and system calls that block before there is a loop by a signal.
class Deadline {
public:
    // seconds: 0 for no limit, else above 0.
    Deadline(double seconds, SharedPtr<Tavix::PollLoopIf> const& loop);
    ~Deadline();
    Deadline(Deadline const&) = delete;
    Deadline& operator=(Deadline const&) = delete;

    bool expired() const;

    // Lends a descriptor that is readable from the deadline on; -1 without a limit.
    int descriptor() const { return _fd; }

    // While one lives, a blocked system call ends with EINTR once the time is over.
    class Interrupt {
    public:
        explicit Interrupt(Deadline const& deadline);
        ~Interrupt();
        Interrupt(Interrupt const&) = delete;
        Interrupt& operator=(Interrupt const&) = delete;
    };

private:
    SharedPtr<Tavix::PollLoopIf> _loop;
    int _fd = -1; // a timer
    void** _source = nullptr;
};

#endif
