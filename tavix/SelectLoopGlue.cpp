// The sources of the loop over select, which any thread may change. SelectLoopGluePass.cpp tells how the
// passes cope with that.
#include "tavix/SelectLoopGlueInternal.h"
#include "tavix/foundation/Check.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace Tavix {

namespace {

int openWakeFd()
{
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd >= 0 && fd < FD_SETSIZE)
        return fd;
    fprintf(stderr,
            "SelectLoopGlue: no descriptor below %d for waking: changes by other threads wait for a pass\n",
            FD_SETSIZE);
    if (fd >= 0)
        close(fd);
    return -1;
}

} // namespace

SelectLoopGlue::DescriptorInfo* SelectLoopGlue::_info(void** source)
{
    TAVIX_CHECK(source, "source");
    return reinterpret_cast<DescriptorInfo*>(source);
}

PollLoopIf* select_loop_glue_new()
{
    return new (std::nothrow) SelectLoopGlue;
}

SelectLoopGlue::SelectLoopGlue() : _wakeFd(openWakeFd())
{
}

SelectLoopGlue::~SelectLoopGlue()
{
    while (!_table.isEmpty()) {
        void** source = _table.getEntry(_table.getSize() - 1).value->source();
        SelectLoopGlue::removeSource(source);
        SelectLoopGlue::deleteSource(source);
    }
    if (_wakeFd >= 0)
        close(_wakeFd);
}

int SelectLoopGlue::newSource(int fd, void*** source)
{
    TAVIX_CHECK(source, "source");
    DescriptorInfo* info = new (std::nothrow) DescriptorInfo(fd);
    *source = info ? info->source() : nullptr;
    return info ? 0 : -ENOMEM;
}

int SelectLoopGlue::deleteSource(void** source)
{
    DescriptorInfo* info = _info(source);
    {
        Ferrule::Guard<std::recursive_mutex> guard(_lock);
        TAVIX_CHECK(!_table.find(info->fd), "lookupDescriptorInfo == __null");
    }
    info->unref();
    return 0;
}

int SelectLoopGlue::addSource(void** source, SourceCallback callback, void* context)
{
    DescriptorInfo* info = _info(source);
    if (info->fd < 0 || info->fd >= FD_SETSIZE) {
        fprintf(stderr, "SelectLoopGlue: cannot watch descriptor %d: select takes 0 to %d\n", info->fd,
                FD_SETSIZE - 1);
        return -EBADF;
    }
    const int rc = _insert(info, callback, context);
    if (rc == 0)
        _wakeIfWaiting();
    return rc;
}

int SelectLoopGlue::_insert(DescriptorInfo* info, SourceCallback callback, void* context)
{
    Ferrule::Guard<std::recursive_mutex> guard(_lock);
    TAVIX_CHECK(!_table.find(info->fd), "lookupDescriptorInfo == __null");
    if (_table.insert(info->fd, info) != 0)
        return -ENOMEM;
    info->callback = callback;
    info->context = context;
    info->prepared = false;
    info->clearResults();
    return 0;
}

int SelectLoopGlue::removeSource(void** source)
{
    DescriptorInfo* info = _info(source);
    {
        Ferrule::Guard<std::recursive_mutex> guard(_lock);
        DescriptorInfo** registered = _table.find(info->fd);
        if (registered && *registered == info)
            _table.remove(info->fd);
        info->callback = nullptr;
        info->context = nullptr;
    }
    if (!Ferrule::isSingleThreaded())
        _removed.store(true);
    _wakeIfWaiting();
    return 0;
}

int SelectLoopGlue::sourceAddWatch(void** source, unsigned watch)
{
    DescriptorInfo* info = _info(source);
    watch &= kWatches;
    if ((info->flags.load() & watch) != watch) {
        info->flags.fetch_or(watch);
        _wakeIfWaiting();
    }
    return 0;
}

int SelectLoopGlue::sourceRemoveWatch(void** source, unsigned watch)
{
    DescriptorInfo* info = _info(source);
    watch &= kWatches;
    if (info->flags.load() & watch) {
        info->flags.fetch_and(~watch);
        _wakeIfWaiting();
    }
    return 0;
}

int SelectLoopGlue::sourceIsReadable(void** source, bool& readable)
{
    readable = _info(source)->flags.load() & kReadable;
    return 0;
}

int SelectLoopGlue::sourceIsWritable(void** source, bool& writable)
{
    writable = _info(source)->flags.load() & kWritable;
    return 0;
}

int SelectLoopGlue::getFileDescriptor(void** source)
{
    return _info(source)->fd;
}

// The one that takes `_waiting` away writes; the others rely on it.
void SelectLoopGlue::_wakeIfWaiting()
{
    if (_wakeFd < 0 || !_waiting.load() || !_waiting.exchange(false))
        return;
    const std::uint64_t one = 1;
    while (write(_wakeFd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void SelectLoopGlue::dumpBadFds()
{
    _reportBadFds();
}

unsigned SelectLoopGlue::_reportBadFds()
{
    char name[17] = "";
    prctl(PR_GET_NAME, name);
    // The loop's own descriptor can only be closed by mistake, too, and select would fail for ever.
    unsigned bad = _wakeFd >= 0 && fcntl(_wakeFd, F_GETFL) < 0 ? 1 : 0;
    Ferrule::Guard<std::recursive_mutex> guard(_lock);
    for (unsigned i = 0; i < _table.getSize(); ++i) {
        DescriptorInfo const& info = *_table.getEntry(i).value;
        if (fcntl(info.fd, F_GETFL) >= 0 || errno != EBADF)
            continue;
        ++bad;
        fprintf(
            stderr, "%s[%d] bad FD %d in Source registered to %p %p,you must removeSource before closing!\n",
            name, static_cast<int>(getpid()), info.fd, reinterpret_cast<void*>(info.callback), info.context);
    }
    fflush(stderr);
    return bad;
}

} // namespace Tavix
