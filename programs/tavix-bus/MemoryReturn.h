#ifndef TAVIX_PROGRAMS_TAVIX_BUS_MEMORYRETURN_H
#define TAVIX_PROGRAMS_TAVIX_BUS_MEMORYRETURN_H

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

// Gives the memory that a long queue has left free back to the system. malloc does that by itself for the end of the
// heap only, and whatever was allocated last may lie there.
//
// A second after something has happened the process looks at its resident memory, and tidies the heap when that has
// grown far. Where nothing happens nothing is freed, so an idle broker is not woken.
class MemoryReturn {
public:
    MemoryReturn() = default;
    ~MemoryReturn();
    MemoryReturn(MemoryReturn const&) = delete;
    MemoryReturn& operator=(MemoryReturn const&) = delete;

    // Shares the loop. Without a descriptor for the timer all memory is kept.
    void watch(SharedPtr<Tavix::PollLoopIf> const& loop);

    // A pass of the loop is over.
    void passed()
    {
        if (_due)
            look();
        else if (!_waiting)
            wait();
    }

private:
    static void callback(void** source, void* memory);

    void wait();
    void look();

    SharedPtr<Tavix::PollLoopIf> _loop;
    void** _source = nullptr;
    int _timer = -1;
    bool _waiting = true; // for the timer, or there is none
    bool _due = false;
    long _atStart = 0; // resident pages
    long _pause = 1;   // seconds
};

#endif
