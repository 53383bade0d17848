#ifndef TAVIX_BENCH_COMMON_WAITER_H
#define TAVIX_BENCH_COMMON_WAITER_H

#include <memory>
#include <string>

namespace Bench {

// Waits on sockets, numbered from 0, with one system call. Three ways of doing it, so that the floor can stand
// on the cheapest.
class Waiter {
public:
    enum Events { kNothing = 0, kReadable = 1, kWritable = 2 };

    virtual ~Waiter() = default;
    // slot: the next number.
    virtual void add(unsigned slot, int fd) = 0;
    // From the next wait on. Watching the same as before costs nothing.
    virtual void watch(unsigned slot, unsigned events) = 0;
    virtual void wait() = 0;
    // What the last wait found; a hang-up counts as readable.
    virtual unsigned ready(unsigned slot) const = 0;

    // kind: "poll", "epoll" or "select".
    static std::unique_ptr<Waiter> make(std::string const& kind);
};

} // namespace Bench

#endif
