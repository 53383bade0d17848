#ifndef TAVIX_SELECTLOOPGLUEINTERNAL_H
#define TAVIX_SELECTLOOPGLUEINTERNAL_H

#include "tavix/SelectLoopGlue.h"
#include "tavix/foundation/AtomicCounter.h"

namespace Tavix {

constexpr unsigned kWatches = kReadWatch | kWriteWatch;
// Results of a pass, beside the watches in DescriptorInfo::flags.
constexpr unsigned kReadable = 0x10000000;
constexpr unsigned kWritable = 0x01000000;
constexpr unsigned kResults = kReadable | kWritable;

// The record behind a source.
struct SelectLoopGlue::DescriptorInfo {
    explicit DescriptorInfo(int fd) : fd(fd) {}

    void** source() { return reinterpret_cast<void**>(this); }

    void clearResults()
    {
        if (flags.load() & kResults)
            flags.fetch_and(~kResults);
    }

    void unref()
    {
        if (--refcount == 0)
            delete this;
    }

    Ferrule::AtomicCounter refcount{1}; // the handle's reference, and one per pass that has yet to come to it
    const int fd;
    std::atomic<unsigned> flags{0};
    // Guarded by the loop's lock:
    SourceCallback callback = nullptr; // null when not registered
    void* context = nullptr;
    bool prepared = false; // has stood in the sets since it was registered
};

// One pass: the records behind `first` in the loop's list are its own, and those before `next` are done with.
struct SelectLoopGlue::Pass {
    ~Pass();
    void release(std::size_t index);

    SelectLoopGlue& loop;
    const std::size_t first;
    std::size_t next = first;
};

} // namespace Tavix

#endif
