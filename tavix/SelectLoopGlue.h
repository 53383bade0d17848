#ifndef TAVIX_SELECTLOOPGLUE_H
#define TAVIX_SELECTLOOPGLUE_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/DynamicLookupTable.h>
#include <tavix/foundation/SingleThreaded.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <sys/select.h>
#include <vector>

namespace Tavix {

// The loop over select(2): descriptors below 1024, and a pass costs a walk over all registered sources.
//
// One thread at a time iterates. Any thread may make, register, change, remove and delete sources, and a
// select that is blocked meanwhile takes the change up at once. When another thread removes a source, its
// callback may be running at that moment, or be about to: no call begins after that one. The record behind
// the handle outlives it; whoever frees the callback's context must order that with the loop's thread.
class TAVIX_API SelectLoopGlue : public PollLoopIf {
public:
    SelectLoopGlue();

    int newSource(int fd, void*** source) override;
    int deleteSource(void** source) override;
    // -EBADF, with a line on standard error, for a descriptor below 0 or above 1023; -ENOMEM without memory.
    int addSource(void** source, SourceCallback callback, void* context) override;
    int removeSource(void** source) override;
    int sourceAddWatch(void** source, unsigned watch) override;
    int sourceRemoveWatch(void** source, unsigned watch) override;
    int sourceIsReadable(void** source, bool& readable) override;
    int sourceIsWritable(void** source, bool& writable) override;
    void iterate() override;
    // Ends the readiness that sources report until the next pass.
    bool check() override;
    int getFileDescriptor(void** source) override;

    // Removes and deletes every source that is still registered.
    ~SelectLoopGlue() override;

    // Iterates without end.
    [[noreturn]] void run();

    // Enters what the registered sources watch into both sets and clears the readiness they report. Answers
    // the highest descriptor entered, 0 when there is none.
    int prepare(fd_set& read, fd_set& write);

    // Writes a line on standard error for each registered source whose descriptor is closed.
    void dumpBadFds();

private:
    struct DescriptorInfo;
    struct Pass;
    typedef Ferrule::DynamicLookupTable<DescriptorInfo*, int, Ferrule::LessOperator<int>> Table;

    static DescriptorInfo* _info(void** source);
    static void _retest(DescriptorInfo& info);

    int _insert(DescriptorInfo* info, SourceCallback callback, void* context);
    int _wait(fd_set& read, fd_set& write);
    void _handleSelectError(int error);
    unsigned _reportBadFds();
    void _collectReady(fd_set const& read, fd_set const& write, int bits);
    void _dispatch(Pass& pass, Ferrule::Guard<std::recursive_mutex>& guard);
    void _wakeIfWaiting();
    void _drainWakeFd();

    std::recursive_mutex _lock; // guards the table, and callback and context of the records
    Table _table;
    unsigned _passes = 0; // counts calls of prepare

    // Of the iterating thread: the records of the pass in progress. A nested pass puts its own on top.
    std::vector<DescriptorInfo*> _ready;

    std::atomic<bool> _removed{false}; // a source has gone since the last pass began to wait
    std::atomic<bool> _waiting{false}; // a select is under way, or about to be, that has to see changes
    int _wakeFd;                       // eventfd, in the read set of iterate; -1 without
};

// Gives back a new loop, null without memory.
TAVIX_API PollLoopIf* select_loop_glue_new();

} // namespace Tavix

#endif
