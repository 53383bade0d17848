#ifndef TAVIX_FOUNDATION_FIXEDARRAYLIST_H
#define TAVIX_FOUNDATION_FIXEDARRAYLIST_H

#include <tavix/foundation/ArrayList.h>

namespace Ferrule {

// An ArrayList of at most N items, held inside the object.
template <class T, unsigned N>
class FixedArrayList : public ArrayList<T> {
public:
    FixedArrayList() : ArrayList<T>(_storage, N) {}

private:
    T _storage[N] = {};
};

} // namespace Ferrule

#endif
