#include "support/Loops.h"

#include "tavix/CSelectLoop.h"
#include "tavix/EpollLoopGlue.h"
#include "tavix/GlibSelectLoop.h"
#include "tavix/SelectLoopGlue.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

using namespace Tavix;

namespace {

// A loop as an application may have it. Every change wakes it; whether a descriptor is ready is asked again right
// before its callback runs.
class PollLoop {
public:
    ~PollLoop() { close(_wakeFd); }

    struct Source {
        PollLoop* loop;
        int fd;
        unsigned watches = 0;
        TvxSourceCallback callback = nullptr;
        void* context = nullptr;
        unsigned found = 0; // of its watches, by the pass in progress
    };
    static Source& of(void** source) { return *reinterpret_cast<Source*>(source); }
    static PollLoop& at(void* loop) { return *static_cast<PollLoop*>(loop); }

    static int newSource(int fd, void*** source, void* loop)
    {
        auto record = std::make_shared<Source>(Source{&at(loop), fd});
        *source = reinterpret_cast<void**>(record.get());
        std::lock_guard<std::mutex> guard(at(loop)._lock);
        at(loop)._sources[*source] = record;
        return 0;
    }
    static int deleteSource(void** source)
    {
        PollLoop& loop = *of(source).loop;
        std::lock_guard<std::mutex> guard(loop._lock);
        loop._sources.erase(source);
        return 0;
    }
    template <class Change>
    static int change(void** source, Change const& change)
    {
        PollLoop& loop = *of(source).loop;
        std::lock_guard<std::mutex> guard(loop._lock);
        change(of(source));
        return eventfd_write(loop._wakeFd, 1);
    }
    static int addSource(void** source, TvxSourceCallback callback, void* context)
    {
        return change(source, [=](Source& s) { s.callback = callback, s.context = context; });
    }
    static int removeSource(void** source)
    {
        return change(source, [](Source& s) { s.callback = nullptr; });
    }
    static int addWatch(void** source, unsigned watch)
    {
        return change(source, [=](Source& s) { s.watches |= watch; });
    }
    static int removeWatch(void** source, unsigned watch)
    {
        return change(source, [=](Source& s) { s.watches &= ~watch; });
    }
    static int isReadable(void** source, int* readable)
    {
        *readable = (of(source).found & kReadWatch) != 0;
        return 0;
    }
    static int isWritable(void** source, int* writable)
    {
        *writable = (of(source).found & kWriteWatch) != 0;
        return 0;
    }
    static int getFd(void** source) { return of(source).fd; }

    // The registered sources with watches that are ready, after waiting for one if `wait`.
    std::vector<std::shared_ptr<Source>> ready(bool wait)
    {
        std::vector<std::shared_ptr<Source>> watched, ready;
        std::vector<pollfd> fds;
        {
            std::lock_guard<std::mutex> guard(_lock);
            for (auto& entry : _sources) {
                if (entry.second->callback && entry.second->watches)
                    watched.push_back(entry.second), fds.push_back(pollFor(*entry.second));
            }
        }
        fds.push_back({_wakeFd, POLLIN, 0});
        poll(fds.data(), fds.size(), wait ? -1 : 0);
        eventfd_t changes;
        if (wait && fds.back().revents)
            eventfd_read(_wakeFd, &changes);
        for (size_t i = 0; i < watched.size(); ++i) {
            if (fds[i].revents)
                ready.push_back(watched[i]);
        }
        return ready;
    }

    static void iterate(void* loop)
    {
        for (auto const& source : at(loop).ready(true)) {
            std::unique_lock<std::mutex> guard(at(loop)._lock);
            const TvxSourceCallback callback = source->callback;
            void* const context = source->context;
            pollfd now = pollFor(*source);
            if (!callback || poll(&now, 1, 0) != 1)
                continue;
            source->found = source->watches & ((now.revents & (POLLIN | POLLHUP | POLLERR) ? kReadWatch : 0) |
                                               (now.revents & (POLLOUT | POLLERR) ? kWriteWatch : 0));
            guard.unlock();
            callback(reinterpret_cast<void**>(source.get()), context);
            source->found = 0;
        }
    }
    static int check(void* loop) { return !at(loop).ready(false).empty(); }

private:
    static pollfd pollFor(Source const& source)
    {
        const int events =
            (source.watches & kReadWatch ? POLLIN : 0) | (source.watches & kWriteWatch ? POLLOUT : 0);
        return {source.fd, static_cast<short>(events), 0};
    }

    std::mutex _lock; // guards the sources, but for `found`
    std::map<void**, std::shared_ptr<Source>> _sources;
    const int _wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

const TvxPollLoopFunctions kPollLoop = {PollLoop::newSource,    PollLoop::deleteSource, PollLoop::addSource,
                                        PollLoop::removeSource, PollLoop::addWatch,     PollLoop::removeWatch,
                                        PollLoop::isReadable,   PollLoop::isWritable,   PollLoop::getFd,
                                        PollLoop::iterate,      PollLoop::check};

struct TableLoop : private PollLoop, public CSelectLoop {
    TableLoop() : CSelectLoop(&kPollLoop, static_cast<PollLoop*>(this)) {}
};

} // namespace

LoopKind const kLoopKinds[4] = {{"select", select_loop_glue_new},
                                {"epoll", epoll_loop_glue_new},
                                {"glib", glib_select_loop_new},
                                {"table", []() -> PollLoopIf* { return new TableLoop; }}};

PollLoopIf* newTestLoop()
{
    char const* const name = getenv("TAVIX_TEST_LOOP");
    for (LoopKind const& kind : kLoopKinds) {
        if (strcmp(name ? name : "select", kind.name) == 0)
            return kind.create();
    }
    throw std::invalid_argument("TAVIX_TEST_LOOP");
}
