#ifndef TAVIX_LATETHROWINTERNAL_H
#define TAVIX_LATETHROWINTERNAL_H

#include <cxxabi.h>
#include <exception>

namespace Tavix {

// For callbacks that run one behind the other and may throw: what one throws waits until all have had their turn.
class LateThrow {
public:
    template <class Callback>
    void during(Callback const& callback)
    {
        try {
            callback();
        } catch (abi::__forced_unwind&) { // the thread is being cancelled
            throw;
        } catch (...) {
            _thrown = std::current_exception();
        }
    }

    // Throws what came last, if anything.
    void rethrow() const
    {
        if (_thrown)
            std::rethrow_exception(_thrown);
    }

private:
    std::exception_ptr _thrown;
};

} // namespace Tavix

#endif
