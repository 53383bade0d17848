#ifndef TAVIX_FOUNDATION_BINARYLOOKUPTABLE_H
#define TAVIX_FOUNDATION_BINARYLOOKUPTABLE_H

namespace Ferrule {

// A view of entries that stand sorted by key, each key once, in an array that somebody else owns.
template <class V, class K, class Less>
class BinaryLookupTable {
public:
    struct Entry {
        K key;
        V value;
    };

    // Lends `entries`.
    BinaryLookupTable(Entry* entries, unsigned count) : _table(entries), _count(count) {}

    unsigned getSize() const { return _count; }
    bool isEmpty() const { return _count == 0; }

    // The entry at `index` < getSize(), in key order.
    Entry const& getEntry(unsigned index) const { return _table[index]; }

    // The index of the first entry whose key is not less than `key`, the count when there is none: where
    // `key` stands, or where it would have to go in.
    unsigned findNearestIndex(K const& key) const
    {
        Less const less = Less();
        unsigned low = 0;
        unsigned high = _count;
        while (low < high) {
            unsigned const middle = low + (high - low) / 2;
            if (less(_table[middle].key, key))
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    // Lends the value with that key until the table changes, null when there is none.
    V* find(K const& key) const
    {
        unsigned const index = findNearestIndex(key);
        return isAt(index, key) ? &_table[index].value : nullptr;
    }

protected:
    bool isAt(unsigned index, K const& key) const
    {
        return index < _count && !Less()(key, _table[index].key);
    }

    Entry* _table;
    unsigned _count;
};

} // namespace Ferrule

#endif
