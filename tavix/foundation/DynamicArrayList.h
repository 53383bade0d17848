#ifndef TAVIX_FOUNDATION_DYNAMICARRAYLIST_H
#define TAVIX_FOUNDATION_DYNAMICARRAYLIST_H

#include <tavix/foundation/ArrayList.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Ferrule {

// An ArrayList on the heap that grows by half its size, and by N places at least.
template <class T, unsigned N>
class DynamicArrayList : public ArrayList<T> {
public:
    DynamicArrayList() : ArrayList<T>(nullptr, 0) {}
    ~DynamicArrayList() override { delete[] this->_items; }

    // Lends the items in their order; an insertion may move them. Null at first.
    T const* getItems() const { return this->_items; }
    T* getItems() { return this->_items; }

protected:
    bool grow() override
    {
        unsigned const capacity = this->_size + std::max(N, this->_size / 2);
        T* const items = new (std::nothrow) T[capacity];
        if (!items)
            return false;
        for (unsigned i = 0; i < this->_size; ++i)
            items[i] = std::move(this->_items[i]);
        delete[] this->_items;
        this->_items = items;
        this->_capacity = capacity;
        return true;
    }
};

} // namespace Ferrule

#endif
