// The passes of the loop over select. What makes them more than a walk over two sets:
//
// - A callback may iterate the loop again. The nested pass puts its records on top of the outer one's
//   in `_ready`, and it may use up what the outer pass has found. So the calls of `prepare` are
//   counted, and when the count has moved, the outer pass asks the kernel anew about each record
//   before it calls it.
// - A source may be removed and deleted while it waits in `_ready`. Its record holds a reference, and
//   whether it is still registered is looked up under the lock right before the call.
// - Another thread may change the table or a watch while select blocks on older sets. `_waiting` is
//   set before the sets are filled, and looked at after every change: either `prepare` sees the
//   change, or the changing thread sees `_waiting` and writes to the eventfd. Nothing is written when
//   the loop's own thread changes something.
// - Meanwhile another thread may also close a descriptor and register a new one of the same number. A
//   record counts as found only when it stood in the sets itself.
#include "tavix/SelectLoopGlueInternal.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <poll.h>
#include <unistd.h>

namespace Tavix {

namespace {

bool isEmpty(fd_set const& set)
{
    static const fd_set none{};
    return std::memcmp(&set, &none, sizeof set) == 0;
}

} // namespace

int SelectLoopGlue::prepare(fd_set& read, fd_set& write)
{
    Ferrule::Guard<std::recursive_mutex> guard(_lock);
    ++_passes;
    int highest = 0;
    for (unsigned i = 0; i < _table.getSize(); ++i) {
        DescriptorInfo& info = *_table.getEntry(i).value;
        info.clearResults();
        info.prepared = true;
        const unsigned flags = info.flags.load();
        if (flags & kReadWatch)
            FD_SET(info.fd, &read);
        if (flags & kWriteWatch)
            FD_SET(info.fd, &write);
        if (flags & kWatches)
            highest = info.fd;
    }
    return highest;
}

void SelectLoopGlue::run()
{
    for (;;)
        iterate();
}

void SelectLoopGlue::iterate()
{
    fd_set read;
    fd_set write;
    const int bits = _wait(read, write);
    if (bits <= 0)
        return;
    Pass pass{*this, _ready.size()};
    Ferrule::Guard<std::recursive_mutex> guard(_lock);
    _collectReady(read, write, bits);
    _dispatch(pass, guard);
}

// The end of a pass, also when a callback's exception leaves through it.
SelectLoopGlue::Pass::~Pass()
{
    for (; next < loop._ready.size(); ++next)
        release(next);
    loop._ready.resize(first);
}

// Nested passes leave no readiness behind: the callback that they ran in may ask its source again.
void SelectLoopGlue::Pass::release(std::size_t index)
{
    DescriptorInfo* info = loop._ready[index];
    if (first > 0)
        info->clearResults();
    info->unref();
}

// Answers how many bits of sources are set in both sets.
int SelectLoopGlue::_wait(fd_set& read, fd_set& write)
{
    FD_ZERO(&read);
    FD_ZERO(&write);
    // A process of one thread has nobody who could change something meanwhile.
    const bool wakeable = _wakeFd >= 0 && !Ferrule::isSingleThreaded();
    if (wakeable)
        _waiting.store(true);
    int highest = prepare(read, write);
    if (wakeable) {
        FD_SET(_wakeFd, &read);
        highest = std::max(highest, _wakeFd);
    }
    // The kernel walks every set that it is given, and hardly a pass watches for writing.
    fd_set* const watchedForWriting = isEmpty(write) ? nullptr : &write;
    // Whoever removed a source may have done so for the thread that waits here, on its way into this pass: a pass
    // behind a removal does not block. Asked after _waiting is set, so that a later removal wakes the select.
    timeval noTime{0, 0};
    timeval* const limit = _removed.load() && _removed.exchange(false) ? &noTime : nullptr;
    int bits = select(highest + 1, &read, watchedForWriting, nullptr, limit);
    const int error = errno;
    _waiting.store(false, std::memory_order_relaxed);
    if (bits < 0) {
        _handleSelectError(error);
        return 0;
    }
    if (wakeable && FD_ISSET(_wakeFd, &read)) {
        _drainWakeFd();
        --bits;
    }
    return bits;
}

// A source that another thread removed in order while we were on our way into select leaves a closed
// descriptor in the sets: that is no fault, and the next pass is without it.
void SelectLoopGlue::_handleSelectError(int error)
{
    errno = error;
    perror("select");
    if (error != EBADF)
        return;
    const unsigned badFds = _reportBadFds();
    TAVIX_CHECK(badFds == 0, "badFds == 0");
}

// Called with the lock held. Without memory the pass does what it has room for; the rest is still ready in
// the next.
void SelectLoopGlue::_collectReady(fd_set const& read, fd_set const& write, int bits)
{
    for (unsigned i = 0; i < _table.getSize() && bits > 0; ++i) {
        DescriptorInfo* info = _table.getEntry(i).value;
        const bool readable = FD_ISSET(info->fd, &read);
        const bool writable = FD_ISSET(info->fd, &write);
        if (!readable && !writable)
            continue;
        bits -= readable + writable;
        if (!info->prepared)
            continue;
        try {
            _ready.push_back(info);
        } catch (std::bad_alloc const&) {
            return;
        }
        ++info->refcount;
        info->flags.fetch_or((readable ? kReadable : 0) | (writable ? kWritable : 0));
    }
}

// Called with the lock held, returns without it.
void SelectLoopGlue::_dispatch(Pass& pass, Ferrule::Guard<std::recursive_mutex>& guard)
{
    const unsigned passes = _passes;
    for (const std::size_t end = _ready.size(); pass.next < end; ++pass.next) {
        DescriptorInfo* info = _ready[pass.next];
        guard.lock();
        if (_passes != passes && info->callback)
            _retest(*info);
        const SourceCallback callback = info->flags.load() & kResults ? info->callback : nullptr;
        void* const context = info->context;
        guard.unlock();
        if (callback)
            callback(info->source(), context);
        pass.release(pass.next);
    }
}

// Sets the results to what is ready now, in the sense of select.
void SelectLoopGlue::_retest(DescriptorInfo& info)
{
    const unsigned flags = info.flags.load();
    const bool reading = flags & kReadWatch;
    const bool writing = flags & kWriteWatch;
    info.clearResults();
    const short events = static_cast<short>((reading ? POLLIN : 0) | (writing ? POLLOUT : 0));
    pollfd poller{info.fd, events, 0};
    if (!events || poll(&poller, 1, 0) != 1)
        return;
    if (reading && (poller.revents & (POLLIN | POLLHUP | POLLERR)))
        info.flags.fetch_or(kReadable);
    if (writing && (poller.revents & (POLLOUT | POLLERR)))
        info.flags.fetch_or(kWritable);
}

bool SelectLoopGlue::check()
{
    fd_set read;
    fd_set write;
    FD_ZERO(&read);
    FD_ZERO(&write);
    const int highest = prepare(read, write);
    timeval noTime{0, 0};
    return select(highest + 1, &read, &write, nullptr, &noTime) > 0;
}

void SelectLoopGlue::_drainWakeFd()
{
    std::uint64_t count;
    while (read(_wakeFd, &count, sizeof count) < 0 && errno == EINTR) {
    }
}

} // namespace Tavix
