#ifndef TAVIX_FOUNDATION_ATOMICCOUNTER_H
#define TAVIX_FOUNDATION_ATOMICCOUNTER_H

#include <tavix/foundation/RecycledNode.h>
#include <tavix/foundation/SingleThreaded.h>

#include <atomic>

namespace Ferrule {

// An integer that several threads may count up and down at once.
class AtomicCounter : public RecycledNode {
public:
    explicit AtomicCounter(int initial) : _value(initial) {}
    AtomicCounter(AtomicCounter const&) = delete;
    AtomicCounter& operator=(AtomicCounter const&) = delete;

    // Both answer the new value. Whoever counts down to 0 sees everything that the others did before they
    // counted down. Alone in the process, a thread counts without the locked instruction.
    int operator++()
    {
        if (isSingleThreaded())
            return countAlone(1);
        return _value.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    int operator--()
    {
        if (isSingleThreaded())
            return countAlone(-1);
        return _value.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

    int get() const { return _value.load(std::memory_order_acquire); }

private:
    int countAlone(int difference)
    {
        int const value = _value.load(std::memory_order_relaxed) + difference;
        _value.store(value, std::memory_order_relaxed);
        return value;
    }

    std::atomic<int> _value;
};

} // namespace Ferrule

#endif
