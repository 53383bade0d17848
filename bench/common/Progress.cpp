#include "common/Progress.h"

#include "common/Fail.h"

#include <unistd.h>

namespace Bench {

Progress::Progress(RunOptions const& options, unsigned observers, int fd)
    : _atOnce(acknowledgedAtOnce(options)), _fd(fd), _received(observers), _missing(options.window, observers)
{
}

// Each observer has the events in order, so the oldest event is the first to be complete.
void Progress::delivered(unsigned observer)
{
    const std::uint64_t number = _received[observer]++;
    if (number >= _complete + _missing.size())
        fail("an observer has more events than were sent");
    unsigned& missing = _missing[number % _missing.size()];
    if (--missing > 0)
        return;
    missing = static_cast<unsigned>(_received.size());
    if (++_complete % _atOnce != 0)
        return;
    const std::uint32_t told = _atOnce;
    if (write(_fd, &told, sizeof told) != static_cast<ssize_t>(sizeof told))
        fail("the sender has gone");
}

Window::Window(RunOptions const& options, int fd) : _window(options.window), _fd(fd)
{
}

void Window::begin(unsigned events)
{
    _toSend = events;
    _toComplete = events;
}

bool Window::takeOne()
{
    if (_toSend == 0 || _toComplete - _toSend >= _window)
        return false;
    --_toSend;
    return true;
}

bool Window::readProgress()
{
    std::uint32_t told;
    if (read(_fd, &told, sizeof told) != static_cast<ssize_t>(sizeof told))
        return false;
    _toComplete -= told;
    return true;
}

} // namespace Bench
