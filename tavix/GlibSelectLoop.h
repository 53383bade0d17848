#ifndef TAVIX_GLIBSELECTLOOP_H
#define TAVIX_GLIBSELECTLOOP_H

#include <tavix/PollLoopIf.h>

namespace Tavix {

// Puts sources into GLib's default main context, for an application that runs a GLib main loop: the
// callbacks run inside that loop, and `iterate` is one iteration of it, in which the application's own GLib
// sources run too.
//
// Threads as GLib has them: one thread at a time owns the default context, and `iterate` on another one
// waits until it may. Any thread may make, register, change, remove and delete sources. When another thread
// removes a source, its callback may be running at that moment, or be about to.
//
// What a callback throws leaves through `iterate`; in a main loop that the application runs itself it ends
// the process.
//
// A descriptor that is watched both ways calls back once for each of them. Of a hang-up or error with which a
// descriptor is neither readable nor writable (a pipe without writers, once it is empty) the callback is told
// once, and finds neither; the watch rests until it is added again. A socket that hangs up is readable.
class TAVIX_API GlibSelectLoop : public PollLoopIf {
public:
    GlibSelectLoop();

    // -ENOMEM, and null in *source, without memory.
    int newSource(int fd, void*** source) override;
    // Takes the watches along.
    int deleteSource(void** source) override;
    // Always 0: a second source of a descriptor is not noticed, and both are called.
    int addSource(void** source, SourceCallback callback, void* context) override;
    // Ends the calls and nothing more: until they are removed, or the source is deleted, the watches keep a
    // main loop awake whose descriptor is ready.
    int removeSource(void** source) override;
    // One watch per call; stops the process for another number.
    int sourceAddWatch(void** source, unsigned watch) override;
    int sourceRemoveWatch(void** source, unsigned watch) override;
    // Asking consumes the answer: a second question about the same event is answered with false.
    int sourceIsReadable(void** source, bool& readable) override;
    int sourceIsWritable(void** source, bool& writable) override;
    void iterate() override;
    bool check() override;
    int getFileDescriptor(void** source) override;
};

// Gives back a new loop, null without memory.
TAVIX_API PollLoopIf* glib_select_loop_new();

} // namespace Tavix

#endif
