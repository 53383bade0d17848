// The loop in GLib's default main context: each watch of a source is a GSource of its own. GLib looks after
// nested iterations, and after wake-ups when another thread adds or removes a GSource. What is left to see
// to: GLib may be on its way into the dispatcher while another thread deletes the source, so each GSource
// holds a reference to the record; removing a source, which leaves the GSources alone, has to wake the main
// loop itself; and what a callback throws must not unwind GLib, which would keep the context for good: it
// goes round GLib, from the dispatcher to `iterate`.
#include "tavix/GlibSelectLoop.h"

#include "tavix/foundation/AtomicCounter.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cerrno>
#include <cxxabi.h>
#include <exception>
#include <glib.h>
#include <mutex>
#include <new>

namespace Tavix {

namespace {

// Beside what is watched. Only a condition that a GSource names makes GLib call its dispatcher, but poll(2)
// reports these in any case, and the main loop would spin.
const int kHangUp = G_IO_HUP | G_IO_ERR;

// The record behind a source.
struct GlibSource {
    explicit GlibSource(int fd) : channel(g_io_channel_unix_new(fd)) {}
    ~GlibSource() { g_io_channel_unref(channel); }
    GlibSource(GlibSource const&) = delete;
    GlibSource& operator=(GlibSource const&) = delete;

    void unref()
    {
        if (--refcount == 0)
            delete this;
    }

    GIOChannel* const channel;
    GSource* readWatch = nullptr;
    GSource* writeWatch = nullptr;
    SourceCallback callback = nullptr;
    void* context = nullptr;
    bool readable = false;
    bool writable = false;

    // Guards what is above. GLib's own lock may be taken behind it, never the other way round.
    std::mutex lock;
    Ferrule::AtomicCounter refcount{1}; // the handle's reference, and one per GSource
};

GlibSource* recordOf(void** source)
{
    return reinterpret_cast<GlibSource*>(source);
}

// One call of `iterate`, innermost first.
struct Iteration {
    Iteration() { innermost = this; }
    Iteration(Iteration const&) = delete;
    Iteration& operator=(Iteration const&) = delete;
    ~Iteration() { innermost = outer; }

    // The one that the dispatch in progress belongs to; null in a main loop that the application runs.
    static Iteration* current()
    {
        return innermost && innermost->depth + 1 == g_main_depth() ? innermost : nullptr;
    }

    static thread_local Iteration* innermost;

    Iteration* const outer = innermost;
    const int depth = g_main_depth();
    std::exception_ptr thrown;
};

thread_local Iteration* Iteration::innermost = nullptr;

void unrefRecord(gpointer record)
{
    static_cast<GlibSource*>(record)->unref();
}

// The context's own reference keeps the GSource until it is destroyed.
void nuke_source(GSource** source)
{
    TAVIX_CHECK(source, "source");
    if (!*source)
        return;
    g_source_unref(*source);
    g_source_destroy(*source);
    *source = nullptr;
}

// Called with the lock held, in the dispatch of the watch that hung up without being ready.
void rest(GlibSource& record)
{
    GSource* const hungUp = g_main_current_source();
    for (GSource** watch : {&record.readWatch, &record.writeWatch}) {
        if (*watch == hungUp)
            nuke_source(watch);
    }
}

// Notes what the condition says about the record. It is empty when a nested iteration has used up what had
// been found.
void takeNote(GlibSource& record, GIOCondition condition)
{
    if (condition & (G_IO_IN | G_IO_OUT)) {
        record.readable = condition & G_IO_IN;
        record.writable = condition & G_IO_OUT;
    } else if ((condition & kHangUp) && record.callback) {
        rest(record); // with nobody to tell yet it stays, for the callback that comes
    }
}

// A cancelled thread is unwound in any case. In a main loop of the application there is nobody to throw to.
void callGuarded(SourceCallback callback, void** source, void* context, Iteration* iteration)
{
    try {
        callback(source, context);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        if (!iteration)
            std::terminate();
        iteration->thrown = std::current_exception();
    }
}

gboolean dispatch(GIOChannel*, GIOCondition condition, gpointer data)
{
    Iteration* const iteration = Iteration::current();
    if (iteration && iteration->thrown)
        return TRUE; // it comes again
    GlibSource& record = *static_cast<GlibSource*>(data);
    Ferrule::Guard<std::mutex> guard(record.lock);
    takeNote(record, condition);
    const SourceCallback callback = record.callback;
    void* const context = record.context;
    guard.unlock();
    if (callback)
        callGuarded(callback, reinterpret_cast<void**>(data), context, iteration);
    return TRUE;
}

int consume(GlibSource& record, bool& flag, bool& answer)
{
    Ferrule::Guard<std::mutex> guard(record.lock);
    answer = flag;
    flag = false;
    return 0;
}

} // namespace

PollLoopIf* glib_select_loop_new()
{
    return new (std::nothrow) GlibSelectLoop;
}

// The context is made here, once, and not by whichever thread comes to it first.
GlibSelectLoop::GlibSelectLoop()
{
    g_main_context_default();
}

int GlibSelectLoop::newSource(int fd, void*** source)
{
    *source = reinterpret_cast<void**>(new (std::nothrow) GlibSource(fd));
    return *source ? 0 : -ENOMEM;
}

int GlibSelectLoop::deleteSource(void** source)
{
    sourceRemoveWatch(source, kReadWatch | kWriteWatch);
    recordOf(source)->unref();
    return 0;
}

int GlibSelectLoop::addSource(void** source, SourceCallback callback, void* context)
{
    GlibSource& record = *recordOf(source);
    Ferrule::Guard<std::mutex> guard(record.lock);
    record.callback = callback;
    record.context = context;
    record.readable = record.writable = false; // what came in while nobody was to hear of it
    return 0;
}

int GlibSelectLoop::removeSource(void** source)
{
    GlibSource& record = *recordOf(source);
    {
        Ferrule::Guard<std::mutex> guard(record.lock);
        record.callback = nullptr;
        record.context = nullptr;
    }
    GMainContext* const context = g_main_context_default();
    if (!Ferrule::isSingleThreaded() && !g_main_context_is_owner(context))
        g_main_context_wakeup(context);
    return 0;
}

int GlibSelectLoop::sourceAddWatch(void** source, unsigned watch)
{
    TAVIX_CHECK(!((watch & 0x01) && (watch & 0x10)), "!((watch & 0x01) && (watch & 0x10))");
    TAVIX_CHECK(watch & (kReadWatch | kWriteWatch), "watch & (kReadWatch | kWriteWatch)");
    GlibSource& record = *recordOf(source);
    const bool reading = watch & kReadWatch;
    Ferrule::Guard<std::mutex> guard(record.lock);
    GSource*& place = reading ? record.readWatch : record.writeWatch;
    if (place)
        return 0;
    place = g_io_create_watch(record.channel,
                              static_cast<GIOCondition>((reading ? G_IO_IN : G_IO_OUT) | kHangUp));
    ++record.refcount;
    g_source_set_callback(place, G_SOURCE_FUNC(dispatch), &record, unrefRecord);
    g_source_set_can_recurse(place, TRUE);
    g_source_attach(place, nullptr);
    return 0;
}

int GlibSelectLoop::sourceRemoveWatch(void** source, unsigned watch)
{
    GlibSource& record = *recordOf(source);
    Ferrule::Guard<std::mutex> guard(record.lock);
    if (watch & kWriteWatch)
        nuke_source(&record.writeWatch);
    if (watch & kReadWatch)
        nuke_source(&record.readWatch);
    return 0;
}

int GlibSelectLoop::sourceIsReadable(void** source, bool& readable)
{
    return consume(*recordOf(source), recordOf(source)->readable, readable);
}

int GlibSelectLoop::sourceIsWritable(void** source, bool& writable)
{
    return consume(*recordOf(source), recordOf(source)->writable, writable);
}

void GlibSelectLoop::iterate()
{
    Iteration iteration;
    g_main_context_iteration(nullptr, TRUE);
    if (iteration.thrown)
        std::rethrow_exception(iteration.thrown);
}

bool GlibSelectLoop::check()
{
    return g_main_context_pending(nullptr);
}

int GlibSelectLoop::getFileDescriptor(void** source)
{
    return g_io_channel_unix_get_fd(recordOf(source)->channel);
}

} // namespace Tavix
