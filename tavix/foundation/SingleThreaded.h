#ifndef TAVIX_FOUNDATION_SINGLETHREADED_H
#define TAVIX_FOUNDATION_SINGLETHREADED_H

#include <sys/single_threaded.h>

namespace Ferrule {

// Whether the calling thread is the only one of the process (glibc keeps count, see <sys/single_threaded.h>). The
// answer can only change by what this thread does itself, so while it runs code that starts no thread, whatever is
// guarded against other threads needs no guard.
inline bool isSingleThreaded()
{
    return __libc_single_threaded;
}

// A unique_lock that takes the mutex only when there is another thread to keep out. The guarded lines start no thread
// and call nothing that might.
template <class Mutex>
class Guard {
public:
    explicit Guard(Mutex& mutex) : _mutex(mutex) { lock(); }
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;
    ~Guard() { unlock(); }

    // Both may be called in either state.
    void lock()
    {
        if (_taken || isSingleThreaded())
            return;
        _mutex.lock();
        _taken = true;
    }

    void unlock()
    {
        if (_taken)
            _mutex.unlock();
        _taken = false;
    }

private:
    Mutex& _mutex;
    bool _taken = false;
};

} // namespace Ferrule

#endif
