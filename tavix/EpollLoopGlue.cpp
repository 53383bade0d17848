// The sources of the loop over epoll, which any thread may change. EpollLoopGluePass.cpp tells how the passes
// cope with that, EpollLoopGlueWatches.cpp when the kernel learns of a change of watches.
#include "tavix/EpollLoopGlueInternal.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace Tavix {

namespace {

int createEpoll()
{
    const int fd = epoll_create1(EPOLL_CLOEXEC);
    if (fd < 0) {
        perror("epoll_create1");
        abort();
    }
    return fd;
}

// Edge-triggered, so that nobody has to read it: each write is told once.
int openWakeFd(int epollFd)
{
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    if (fd >= 0 && epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &event) == 0)
        return fd;
    fprintf(stderr, "EpollLoopGlue: no descriptor for waking: removals by other threads wait for a pass\n");
    if (fd >= 0)
        close(fd);
    return -1;
}

} // namespace

PollLoopIf* epoll_loop_glue_new()
{
    return new (std::nothrow) EpollLoopGlue;
}

EpollLoopGlue::EpollLoopGlue() : _epollFd(createEpoll()), _wakeFd(openWakeFd(_epollFd))
{
}

EpollLoopGlue::~EpollLoopGlue()
{
    _freeDeleted();
    if (_wakeFd >= 0)
        close(_wakeFd);
    close(_epollFd);
}

int EpollLoopGlue::newSource(int fd, void*** source)
{
    TAVIX_CHECK(source, "source");
    EpollDescriptorInfo* info = new (std::nothrow) EpollDescriptorInfo(fd);
    *source = info ? info->source() : nullptr;
    return info ? 0 : -ENOMEM;
}

int EpollLoopGlue::deleteSource(void** source)
{
    EpollDescriptorInfo* descriptorInfo = EpollDescriptorInfo::of(source);
    {
        Ferrule::Guard<std::mutex> guard(_lock);
        TAVIX_CHECK(!descriptorInfo->added, "!descriptorInfo->added");
        if (_collecting > 0) {
            descriptorInfo->next = std::exchange(_deleted, descriptorInfo);
            return 0;
        }
    }
    descriptorInfo->unref();
    return 0;
}

int EpollLoopGlue::addSource(void** source, SourceCallback callback, void* context)
{
    EpollDescriptorInfo* descriptorInfo = EpollDescriptorInfo::of(source);
    Ferrule::Guard<std::mutex> guard(_lock);
    TAVIX_CHECK(!descriptorInfo->added, "!descriptorInfo->added");
    descriptorInfo->onEdge = descriptorInfo->event.events == 0;
    if (_control(EPOLL_CTL_ADD, *descriptorInfo) != 0) {
        const int error = errno;
        perror("epoll_ctl");
        return -error;
    }
    descriptorInfo->callback = callback;
    descriptorInfo->context = context;
    descriptorInfo->setReady(0); // a pass that found it under an earlier registration passes it by
    descriptorInfo->added = true;
    return 0;
}

int EpollLoopGlue::removeSource(void** source)
{
    EpollDescriptorInfo* info = EpollDescriptorInfo::of(source);
    int rc = 0;
    {
        Ferrule::Guard<std::mutex> guard(_lock);
        if (!info->added) {
            fprintf(stderr, "Warning: removing source that is not added. fd=%d\n", info->fd);
            return -ENOENT;
        }
        if (epoll_ctl(_epollFd, EPOLL_CTL_DEL, info->fd, &info->event) != 0) {
            rc = -errno;
            perror("epoll_ctl");
        }
        _forget(*info);
        info->callback = nullptr;
        info->context = nullptr;
        info->added = false;
    }
    if (!Ferrule::isSingleThreaded())
        _removed.store(true);
    _wakeIfWaiting();
    return rc;
}

// The one that takes `_waiting` away writes; the others rely on it.
void EpollLoopGlue::_wakeIfWaiting()
{
    if (_wakeFd < 0 || !_waiting.load() || !_waiting.exchange(false))
        return;
    const std::uint64_t one = 1;
    while (write(_wakeFd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

int EpollLoopGlue::sourceIsReadable(void** source, bool& readable)
{
    readable = EpollDescriptorInfo::of(source)->ready() & EPOLLIN;
    return 0;
}

int EpollLoopGlue::sourceIsWritable(void** source, bool& writable)
{
    writable = EpollDescriptorInfo::of(source)->ready() & EPOLLOUT;
    return 0;
}

int EpollLoopGlue::getFileDescriptor(void** source)
{
    return EpollDescriptorInfo::of(source)->fd;
}

} // namespace Tavix
