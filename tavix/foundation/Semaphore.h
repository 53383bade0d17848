#ifndef TAVIX_FOUNDATION_SEMAPHORE_H
#define TAVIX_FOUNDATION_SEMAPHORE_H

#include <tavix/foundation/ErrorServer.h>

#include <cerrno>
#include <semaphore.h>

namespace Ferrule {

// A counting semaphore, for the threads of one process. A waiter may destroy it as soon as its wait() is
// over.
class Semaphore {
public:
    explicit Semaphore(unsigned initial) { FERRULE_CHECK_FATAL(sem_init(&_semaphore, 0, initial) == 0); }
    ~Semaphore() { sem_destroy(&_semaphore); }
    Semaphore(Semaphore const&) = delete;
    Semaphore& operator=(Semaphore const&) = delete;

    // Adds one. May be called in a signal handler.
    void post() { sem_post(&_semaphore); }

    // Blocks until it can take one; signals do not end it.
    void wait()
    {
        while (sem_wait(&_semaphore) != 0 && errno == EINTR) {
        }
    }

    // Takes one without blocking: true when it did. No system call.
    bool tryWait() { return sem_trywait(&_semaphore) == 0; }

private:
    sem_t _semaphore;
};

} // namespace Ferrule

#endif
