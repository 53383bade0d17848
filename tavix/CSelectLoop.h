#ifndef TAVIX_CSELECTLOOP_H
#define TAVIX_CSELECTLOOP_H

#include <tavix/PollLoopIf.h>
#include <tavix/TvxPollLoopFunctions.h>

namespace Tavix {

// Hands every operation to a table of functions, for an application with an event loop of its own. Handles
// are the table's own, and so are the answers.
//
// The loop is as good as the table, which has to keep what PollLoopIf promises; what a proxy relies on stands with
// TvxPollLoopFunctions.
class TAVIX_API CSelectLoop : public PollLoopIf {
public:
    // Borrows both for its lifetime. The destructor leaves them alone.
    CSelectLoop(TvxPollLoopFunctions const* functions, void* loopContext);

    int newSource(int fd, void*** source) override;
    int deleteSource(void** source) override;
    int addSource(void** source, SourceCallback callback, void* context) override;
    int removeSource(void** source) override;
    int sourceAddWatch(void** source, unsigned watch) override;
    int sourceRemoveWatch(void** source, unsigned watch) override;
    int sourceIsReadable(void** source, bool& readable) override;
    int sourceIsWritable(void** source, bool& writable) override;
    void iterate() override;
    bool check() override;
    int getFileDescriptor(void** source) override;

private:
    TvxPollLoopFunctions const* const _functions;
    void* const _loopContext;
};

} // namespace Tavix

#endif
