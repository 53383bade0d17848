#ifndef TAVIX_FOUNDATION_LESSOPERATOR_H
#define TAVIX_FOUNDATION_LESSOPERATOR_H

#include <functional>

namespace Ferrule {

// The order of keys by `<`, which std::less makes total for pointers too.
template <class K>
struct LessOperator {
    bool operator()(K const& a, K const& b) const { return std::less<K>()(a, b); }
};

} // namespace Ferrule

#endif
