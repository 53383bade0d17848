#ifndef TAVIX_POLLLOOPIF_H
#define TAVIX_POLLLOOPIF_H

#include <tavix/foundation/Export.h>

namespace Tavix {

// What a source is watched for; combined with |.
constexpr unsigned kReadWatch = 0x01;
constexpr unsigned kWriteWatch = 0x10;

// Runs on the thread that iterates, with no lock of the loop held. It may add, remove and delete any source,
// its own too, and may iterate the loop again. It does not delete the loop. What it throws leaves through
// iterate, and the sources that were still to be called have their turn in the next pass.
typedef void (*SourceCallback)(void** source, void* context);

// An event loop over descriptors. A source is one watched descriptor; its handle is opaque and belongs to the
// loop that made it. Order of use: newSource, sourceAddWatch, addSource; in the end removeSource,
// deleteSource, and only then is the descriptor closed, which the loop never does. The loop is
// level-triggered: a descriptor that stays ready calls back in every pass. Integer answers are 0 for success.
class TAVIX_API PollLoopIf {
public:
    // Makes a source without watches that is not registered yet. Gives back the handle in *source; it is
    // released with deleteSource.
    virtual int newSource(int fd, void*** source) = 0;

    // Takes the handle back. The source must not be registered.
    virtual int deleteSource(void** source) = 0;

    // Registers the source: from the next pass on `callback` runs with `context` when a watch finds the
    // descriptor ready. A loop holds at most one registered source per descriptor. After an answer other than
    // 0 the source is not registered.
    virtual int addSource(void** source, SourceCallback callback, void* context) = 0;

    // Unregisters the source. On the loop's thread the callback is not called after this returns, also not in
    // the pass in progress. When another thread removes a source, the pass that blocks, or the next one,
    // returns: the thread in it may be waiting for what went with the source.
    virtual int removeSource(void** source) = 0;

    // Adds and removes watches (kReadWatch, kWriteWatch), before or after addSource. What is already so stays
    // so.
    virtual int sourceAddWatch(void** source, unsigned watch) = 0;
    virtual int sourceRemoveWatch(void** source, unsigned watch) = 0;

    // Inside the source's callback: whether this event found the descriptor readable, or writable. A socket
    // that hangs up is readable. A callback that finds neither has been called for another hang-up or an
    // error, or for something that a pass within this one has used up.
    virtual int sourceIsReadable(void** source, bool& readable) = 0;
    virtual int sourceIsWritable(void** source, bool& writable) = 0;

    // One pass: blocks until something happens and runs the callbacks of what is ready. A signal, and a
    // change by another thread, may end a pass in which nothing was ready.
    virtual void iterate() = 0;

    // Whether iterate would find work now. Does not block and runs no callback.
    virtual bool check() = 0;

    // The source's descriptor, which stays its maker's.
    virtual int getFileDescriptor(void** source) = 0;

    virtual ~PollLoopIf() = default;
};

} // namespace Tavix

#endif
