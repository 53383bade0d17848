#include "tavix-bus/Output.h"

#include <unistd.h>

namespace {

const size_t kLimit = 256 * 1024;
const size_t kNoteSize = 80;

} // namespace

Output::Output(FILE*& stream, int buffering)
    : _stream(stream), _original(stream), _fd(fileno(stream)), _owner(getpid())
{
    std::fflush(_original);
    _waiting.reserve(kLimit + kNoteSize); // so that printing never allocates
    _replacement = fopencookie(this, "w", {nullptr, takeText, nullptr, nullptr});
    if (!_replacement)
        return;
    std::setvbuf(_replacement, nullptr, buffering, BUFSIZ);
    _stream = _replacement;
}

Output::~Output()
{
    _stream = _original;
    if (_replacement)
        std::fclose(_replacement);
    flush();
    stopWatch();
}

void Output::watch(SharedPtr<Tavix::PollLoopIf> const& loop)
{
    _loop = loop;
    flush();
}

ssize_t Output::takeText(void* output, char const* text, size_t size)
{
    auto* self = static_cast<Output*>(output);
    if (getpid() == self->_owner) {
        self->add({text, size});
        if (!self->_source) // else the loop knows when there is room
            self->flush();
    } else {
        self->_fd.write({text, size}); // what waits is its parent's to write
    }
    return static_cast<ssize_t>(size);
}

void Output::add(std::string_view text)
{
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        const bool ends = line.size() < text.size();
        line = text.substr(0, line.size() + ends);
        text.remove_prefix(line.size());
        if (_waiting.size() + line.size() > kLimit && !_source)
            flush();
        // After a line is lost all are, until the loss has been said: none stands in a wrong place.
        if (_cut || _lost > 0 || _waiting.size() + line.size() > kLimit) {
            _lost += !_cut;
            _cut = !ends;
        } else {
            _waiting += line;
        }
    }
}

void Output::flush()
{
    bool taken = true;
    while (taken && (!_waiting.empty() || _lost > 0)) {
        taken = writeWaiting();
        if (_lost > 0 && _waiting.size() <= kLimit / 2)
            sayLost();
    }
    if (taken)
        stopWatch();
    else
        startWatch();
}

// In pieces that end with a line where they can: a pipe takes such a piece as a whole, so that nothing that
// another process writes to it comes between. False when it would have to wait.
bool Output::writeWaiting()
{
    size_t done = 0;
    ssize_t taken = 1;
    while (done < _waiting.size() && taken > 0) {
        std::string_view piece = std::string_view(_waiting).substr(done, OutputFd::kAtOnce);
        const size_t lines = piece.rfind('\n') + 1;
        if (lines > 0)
            piece = piece.substr(0, lines);
        taken = _fd.write(piece);
        done = taken < 0 ? _waiting.size() : done + static_cast<size_t>(taken);
    }
    _waiting.erase(0, done);
    return taken != 0;
}

void Output::sayLost()
{
    char note[kNoteSize];
    const bool inLine = !_waiting.empty() && _waiting.back() != '\n'; // its end is among what was lost
    std::snprintf(note, sizeof note, "%stavix-bus: %lu lines of output were lost\n", inLine ? "\n" : "",
                  _lost);
    _waiting += note;
    _lost = 0;
}

void Output::startWatch()
{
    if (_source || !_loop.get() || _loop->newSource(_fd.get(), &_source) != 0)
        return;
    _loop->sourceAddWatch(_source, Tavix::kWriteWatch);
    if (_loop->addSource(_source, flushCallback, this) == 0)
        return;
    _loop->deleteSource(_source); // the next line tries again
    _source = nullptr;
}

void Output::stopWatch()
{
    if (!_source)
        return;
    _loop->removeSource(_source);
    _loop->deleteSource(_source);
    _source = nullptr;
}

void Output::flushCallback(void**, void* output)
{
    static_cast<Output*>(output)->flush();
}
