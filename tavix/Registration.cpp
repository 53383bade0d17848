// A call holds the lock of its registration, so whoever wants the call to end waits for that lock. Two
// calls on two threads that end each other's registrations would wait for ever: therefore whoever waits is
// listed, and the one that would close the circle does not wait.

#include "tavix/ProxyFrameInternal.h"
#include "tavix/RegistrationInternal.h"

namespace Tavix {

// On the stack of the thread that waits.
struct Registration::Waiting {
    pthread_t thread;
    Registration const* registration;
    Waiting* next;
};

std::mutex Registration::_waitingLock;
Registration::Waiting* Registration::_firstWaiting = nullptr;

bool Registration::ref()
{
    return ++_refCount > 1;
}

void Registration::unref()
{
    if (--_refCount == 0)
        delete this;
}

Registration::Call::Call(Registration& registration)
    : _called(registration), _guard(registration._lock), _outer(registration._caller.exchange(pthread_self()))
{
}

Registration::Call::~Call()
{
    _called._caller = _outer;
}

void Registration::retire()
{
    withdraw();
    if (_lock.try_lock()) {
        _lock.unlock();
        return;
    }
    ProxyFrame::flushAll(); // the call may wait for it
    Waiting self{pthread_self(), this, nullptr};
    {
        std::lock_guard<std::mutex> guard(_waitingLock);
        if (waitsForThisThread())
            return;
        self.next = _firstWaiting;
        _firstWaiting = &self;
    }
    _lock.lock();
    _lock.unlock();
    std::lock_guard<std::mutex> guard(_waitingLock);
    Waiting** place = &_firstWaiting;
    while (*place != &self)
        place = &(*place)->next;
    *place = self.next;
}

// Along the threads that hold a lock and wait for the next one.
bool Registration::waitsForThisThread() const
{
    Registration const* held = this;
    while (held) {
        const pthread_t caller = held->_caller;
        if (pthread_equal(caller, pthread_self()))
            return true;
        Waiting const* waiting = _firstWaiting;
        while (waiting && !pthread_equal(waiting->thread, caller))
            waiting = waiting->next;
        held = waiting ? waiting->registration : nullptr;
    }
    return false;
}

} // namespace Tavix
