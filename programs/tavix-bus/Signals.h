#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SIGNALS_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SIGNALS_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

#include <csignal>
#include <functional>
#include <initializer_list>

// Signals as readiness of a descriptor on the loop: no handler interrupts anything. From the construction on
// they are blocked; one that came before watch() is not lost. SIGPIPE is ignored, and SIGCHLD is not, so that
// how a child ended can be asked.
class Signals {
public:
    struct Received {
        int number;
        bool fromTerminal; // a key was pressed: every process in the foreground has the signal as well
    };
    using Handler = std::function<void(Received)>;

    explicit Signals(std::initializer_list<int> numbers);
    ~Signals();
    Signals(Signals const&) = delete;
    Signals& operator=(Signals const&) = delete;

    // Shares the loop. False when the system has no descriptor left.
    bool watch(SharedPtr<Tavix::PollLoopIf> const& loop, Handler handler);

    // Puts everything back as it was before the construction: for a child that is about to become another
    // program.
    void restore() const;

private:
    static void callback(void** source, void* signals);

    SharedPtr<Tavix::PollLoopIf> _loop;
    int _fd;
    void** _source = nullptr;
    Handler _handler;
    sigset_t _oldMask;
    struct sigaction _oldPipe;
    struct sigaction _oldChild;
};

#endif
