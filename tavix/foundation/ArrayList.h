#ifndef TAVIX_FOUNDATION_ARRAYLIST_H
#define TAVIX_FOUNDATION_ARRAYLIST_H

#include <tavix/foundation/ArrayListCommon.h>
#include <tavix/foundation/ErrorServer.h>

#include <utility>

namespace Ferrule {

// Items in a row, in storage that a derived class supplies and that always holds `capacity` live objects: a
// place without an item holds a T(). No lock: the owner guards it.
template <class T>
class ArrayList : public ArrayListCommon {
public:
    unsigned getSize() const { return _size; }
    bool isEmpty() const { return _size == 0; }

    // An index past the end is reported, and the last item answered; in an empty list it ends the process.
    T& operator[](unsigned index) { return _items[clamp(index)]; }
    T const& operator[](unsigned index) const { return _items[clamp(index)]; }

    // All three answer 0 on success. Otherwise (no room, or an index out of range) they change nothing.
    int append(T const& item) { return insert(_size, item); }

    int insert(unsigned index, T const& item)
    {
        if (index > _size)
            return 1;
        T copy(item); // `item` may stand in this list
        if (_size == _capacity && !grow())
            return 1;
        for (unsigned i = _size; i > index; --i)
            _items[i] = std::move(_items[i - 1]);
        _items[index] = std::move(copy);
        ++_size;
        return 0;
    }

    int remove(unsigned index)
    {
        if (index >= _size)
            return 1;
        T removed(std::move(_items[index])); // released last, when the list is in order again
        for (unsigned i = index + 1; i < _size; ++i)
            _items[i - 1] = std::move(_items[i]);
        _items[--_size] = T();
        return 0;
    }

protected:
    ArrayList(T* items, unsigned capacity) : _items(items), _capacity(capacity), _size(0) {}

    T* _items;
    unsigned _capacity;
    unsigned _size;

private:
    unsigned clamp(unsigned index) const
    {
        if (FERRULE_CHECK_RECOVERABLE(index < _size))
            return index;
        FERRULE_CHECK_FATAL(!isEmpty());
        return _size - 1;
    }
};

} // namespace Ferrule

#endif
