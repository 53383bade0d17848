// The flat functions over event loops. Each forwards to the operation of PollLoopIf of the same meaning.

#include "tavix/CSelectLoop.h"
#include "tavix/EpollLoopGlue.h"
#include "tavix/GlibSelectLoop.h"
#include "tavix/SelectLoopGlue.h"
#include "tavix/capiProxyInternal.h"

#include <cerrno>

using namespace Tavix;

namespace {

template <typename Create>
TvxPollLoop* share(Create create)
{
    return guarded<TvxPollLoop*>(nullptr, [=]() -> TvxPollLoop* {
        PollLoopIf* loop = create();
        if (loop == nullptr)
            return nullptr;
        LoopPointer owned(loop);
        return reinterpret_cast<TvxPollLoop*>(new LoopPointer(owned));
    });
}

bool isComplete(const TvxPollLoopFunctions* table)
{
    return table != nullptr && table->new_source && table->delete_source && table->add_source &&
           table->remove_source && table->add_watch && table->remove_watch && table->is_readable &&
           table->is_writable && table->get_file_descriptor && table->iterate && table->check;
}

// `needed` is what must not be null beside the loop.
template <typename Work>
int onLoop(TvxPollLoop* loop, const void* needed, Work work)
{
    if (loop == nullptr || needed == nullptr)
        return -EINVAL;
    return guarded(-ENOMEM, [&] { return work(**toCpp(loop)); });
}

} // namespace

TvxPollLoop* tvx_select_loop_glue_new(void)
{
    return share(select_loop_glue_new);
}

TvxPollLoop* tvx_epoll_loop_glue_new(void)
{
    return share(epoll_loop_glue_new);
}

TvxPollLoop* tvx_glib_select_loop_new(void)
{
    return share(glib_select_loop_new);
}

TvxPollLoop* tvx_c_select_loop_new(const TvxPollLoopFunctions* functions, void* context)
{
    if (!isComplete(functions))
        return nullptr;
    return share([=] { return new (std::nothrow) CSelectLoop(functions, context); });
}

void tvx_poll_loop_free(TvxPollLoop* loop)
{
    delete toCpp(loop);
}

void tvx_poll_loop_iterate(TvxPollLoop* loop)
{
    if (loop != nullptr)
        (*toCpp(loop))->iterate();
}

int tvx_poll_loop_new_source(TvxPollLoop* loop, int fd, void*** source)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.newSource(fd, source); });
}

int tvx_poll_loop_delete_source(TvxPollLoop* loop, void** source)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.deleteSource(source); });
}

int tvx_poll_loop_add_source(TvxPollLoop* loop, void** source, TvxSourceCallback callback, void* context)
{
    if (callback == nullptr)
        return -EINVAL;
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.addSource(source, callback, context); });
}

int tvx_poll_loop_remove_source(TvxPollLoop* loop, void** source)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.removeSource(source); });
}

int tvx_poll_loop_source_add_watch(TvxPollLoop* loop, void** source, unsigned watch)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.sourceAddWatch(source, watch); });
}

int tvx_poll_loop_source_remove_watch(TvxPollLoop* loop, void** source, unsigned watch)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.sourceRemoveWatch(source, watch); });
}

int tvx_poll_loop_source_is_readable(TvxPollLoop* loop, void** source, bool* readable)
{
    if (readable == nullptr)
        return -EINVAL;
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.sourceIsReadable(source, *readable); });
}

int tvx_poll_loop_source_is_writable(TvxPollLoop* loop, void** source, bool* writable)
{
    if (writable == nullptr)
        return -EINVAL;
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.sourceIsWritable(source, *writable); });
}

int tvx_poll_loop_source_get_file_descriptor(TvxPollLoop* loop, void** source)
{
    return onLoop(loop, source, [=](PollLoopIf& on) { return on.getFileDescriptor(source); });
}
