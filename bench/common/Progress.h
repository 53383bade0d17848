#ifndef TAVIX_BENCH_COMMON_PROGRESS_H
#define TAVIX_BENCH_COMMON_PROGRESS_H

#include "common/RunOptions.h"

#include <cstdint>
#include <vector>

namespace Bench {

// The observers' side of the window: an event is complete when every observer has it, and the sender hears of
// a number of complete events at a time.
class Progress {
public:
    // fd: where the sender is told.
    Progress(RunOptions const& options, unsigned observers, int fd);

    // An observer has its next event. Fails when it has more than can have been sent.
    void delivered(unsigned observer);

private:
    const unsigned _atOnce;
    const int _fd;
    std::vector<std::uint64_t> _received; // by observer
    std::vector<unsigned> _missing;       // by event, modulo the window: observers that do not have it yet
    std::uint64_t _complete = 0;
};

// The sender's side: how many events of a block may still leave.
class Window {
public:
    Window(RunOptions const& options, int fd);

    void begin(unsigned events);
    // Takes the right to send one event; false when it has to wait for the observers, or all have left.
    bool takeOne();
    bool complete() const { return _toComplete == 0; }

    int fd() const { return _fd; }
    // Reads what the observers have told; call it when fd is readable. False when they have gone.
    bool readProgress();

private:
    const unsigned _window;
    const int _fd;
    unsigned _toSend = 0;
    unsigned _toComplete = 0;
};

} // namespace Bench

#endif
