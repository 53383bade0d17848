#ifndef TAVIX_EPOLLLOOPGLUE_H
#define TAVIX_EPOLLLOOPGLUE_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SingleThreaded.h>

#include <atomic>
#include <mutex>
#include <pthread.h>

struct epoll_event;

namespace Tavix {

struct EpollDescriptorInfo;
struct EpollPass;

// The loop over epoll(7): the cost of a pass grows with the descriptors that are ready, at most 50 in a pass,
// not with those that are registered.
//
// One thread at a time iterates. Any thread may make, register, change, remove and delete sources; changes
// reach a pass that blocks. When another thread removes a source, its callback may be running at that moment,
// or be about to: no call begins after that one.
//
// Of a hang-up or error with which a descriptor is neither readable nor writable (a pipe without writers,
// once it is empty) the callback is told once, and finds neither: the descriptor has come to its end. It is
// called again when the descriptor is ready after all, or its watches change. A socket that hangs up is
// readable.
//
// A descriptor that is closed while its source is registered is not told of any more, unless a duplicate of
// it is left, in another process too: then the kernel goes on reporting a source that nobody can remove. A
// child of fork leaves the loop and what is on it alone: it shares the registrations with its parent.
class TAVIX_API EpollLoopGlue : public PollLoopIf {
public:
    // Ends the process, with a line on standard error, when there is no epoll descriptor to be had.
    EpollLoopGlue();

    // -ENOMEM, and null in *source, without memory.
    int newSource(int fd, void*** source) override;
    // Stops the process when the source is registered.
    int deleteSource(void** source) override;
    // Minus errno, with a line on standard error, when the kernel refuses: -EEXIST for a second source of a
    // descriptor, -EPERM for a file that cannot be waited for, as a regular one.
    int addSource(void** source, SourceCallback callback, void* context) override;
    // -ENOENT, with a line on standard error, for a source that is not registered.
    int removeSource(void** source) override;
    // Both answer minus errno, with a line on standard error, when the kernel refuses. From within a callback
    // they ask nothing of the kernel, which learns of the change when the loop waits or checks next, and of
    // none that has been undone by then. It then refuses with the line alone.
    int sourceAddWatch(void** source, unsigned watch) override;
    int sourceRemoveWatch(void** source, unsigned watch) override;
    int sourceIsReadable(void** source, bool& readable) override;
    int sourceIsWritable(void** source, bool& writable) override;
    void iterate() override;
    bool check() override;
    int getFileDescriptor(void** source) override;

    // Leaves sources alone: the caller has removed and deleted them.
    ~EpollLoopGlue() override;

    // Iterates without end.
    [[noreturn]] void run();

private:
    friend struct EpollPass;

    int sourceEpollUpdate(void** source, unsigned add, unsigned remove);
    int _control(int operation, EpollDescriptorInfo& info);
    int _change(EpollDescriptorInfo& info);
    void _note(EpollDescriptorInfo& info);
    void _forget(EpollDescriptorInfo& info);
    void _tellChanges();
    int _wait(epoll_event* events, EpollPass& pass);
    void _collectReady(epoll_event const* events, int count, EpollPass& pass);
    void _endCollecting(EpollPass& pass);
    void _giveUpCollecting(EpollPass& pass);
    void _dispatch(EpollPass& pass);
    void _freeDeleted();
    void _wakeIfWaiting();

    const int _epollFd;
    const int _wakeFd; // eventfd, registered with a null record; -1 without

    std::mutex _lock;                           // guards the records' fields, and:
    unsigned _collecting = 0;                   // passes that the kernel may be handing pointers to records
    EpollDescriptorInfo* _deleted = nullptr;    // deleted meanwhile
    EpollDescriptorInfo* _firstNoted = nullptr; // those whose watches the kernel is still to learn of
    EpollDescriptorInfo* _lastNoted = nullptr;

    // The thread that is inside a pass and calls back, 0 without; should there be several, one of them. It
    // enters itself under the lock.
    std::atomic<pthread_t> _dispatcher{0};
    std::atomic<bool> _removed{false}; // a source has gone since the last pass began to wait
    std::atomic<bool> _waiting{false}; // an epoll_wait is under way, or about to be, that removals end
};

// Gives back a new loop, null without memory.
TAVIX_API PollLoopIf* epoll_loop_glue_new();

} // namespace Tavix

#endif
