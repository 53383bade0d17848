#ifndef TAVIX_REGISTRATIONINTERNAL_H
#define TAVIX_REGISTRATIONINTERNAL_H

#include "tavix/foundation/AtomicCounter.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <pthread.h>

namespace Tavix {

// What a proxy keeps of something that it calls, an observer of events or a served object. The proxy's
// table holds one reference and every call under way another, so a registration outlives both; a derived
// one may own what is called.
//
// It may be withdrawn at any moment, from another thread or from inside a call of any registration.
class Registration {
public:
    Registration() = default;
    Registration(Registration const&) = delete;
    Registration& operator=(Registration const&) = delete;

    bool ref(); // true while it was in use before
    void unref();

    // The time of one call. The lock is recursive: calls may nest on one thread, and end what they are
    // calls of.
    class Call {
    public:
        explicit Call(Registration& registration);
        Call(Call const&) = delete;
        Call& operator=(Call const&) = delete;
        ~Call();

        // False when the registration was withdrawn before: then nothing is called.
        explicit operator bool() const { return !_called._withdrawn; }

    private:
        Registration& _called;
        std::lock_guard<std::recursive_mutex> const _guard;
        pthread_t const _outer;
    };

    // No call begins any more, but for one that is beginning on another thread.
    void withdraw() { _withdrawn = true; }

    // Withdraws, and returns when no call is under way on another thread. Calls on this thread go on, and
    // so does one that waits in here, itself or through others, for a call of this thread: neither could
    // end before the other.
    void retire();

protected:
    virtual ~Registration() = default;

private:
    struct Waiting;

    bool waitsForThisThread() const;

    static std::mutex _waitingLock;
    static Waiting* _firstWaiting; // guarded by _waitingLock

    Ferrule::AtomicCounter _refCount{1};
    std::recursive_mutex _lock; // held during a call
    std::atomic<bool> _withdrawn{false};
    std::atomic<pthread_t> _caller{0}; // who holds the lock, 0 for nobody
};

struct Unref {
    void operator()(Registration* registration) const { registration->unref(); }
};

// One reference. It is given up behind every lock: what goes with the last one may take locks of its own.
template <class T>
using Registered = std::unique_ptr<T, Unref>;

template <class T>
Registered<T> shareRegistration(T* registration)
{
    if (registration)
        registration->ref();
    return Registered<T>(registration);
}

} // namespace Tavix

#endif
