#ifndef TAVIX_FOUNDATION_DYNAMICLOOKUPTABLE_H
#define TAVIX_FOUNDATION_DYNAMICLOOKUPTABLE_H

#include <tavix/foundation/BinaryLookupTable.h>
#include <tavix/foundation/DynamicArrayList.h>
#include <tavix/foundation/ErrorServer.h>
#include <tavix/foundation/LessOperator.h>

namespace Ferrule {

// A sorted table of values by key that owns its entries and grows by eight. No lock: the owner guards it.
template <class V, class K, class Less>
class DynamicLookupTable : public BinaryLookupTable<V, K, Less> {
public:
    using typename BinaryLookupTable<V, K, Less>::Entry;

    DynamicLookupTable() : BinaryLookupTable<V, K, Less>(nullptr, 0) {}
    DynamicLookupTable(DynamicLookupTable const&) = delete;
    DynamicLookupTable& operator=(DynamicLookupTable const&) = delete;

    // Enters a value, or replaces the one with that key. Answers 0, or non-zero when no memory is left: the
    // table is then as it was.
    int insert(K const& key, V const& value)
    {
        unsigned const index = this->findNearestIndex(key);
        FERRULE_CHECK_FATAL(index <= _entries.getSize());
        if (this->isAt(index, key)) {
            _entries[index].value = value;
            return 0;
        }
        int const failed = _entries.insert(index, Entry{key, value});
        refreshView();
        return failed;
    }

    // Takes an entry out; a key that is not there changes nothing.
    void remove(K const& key)
    {
        unsigned const index = this->findNearestIndex(key);
        if (!this->isAt(index, key))
            return;
        _entries.remove(index);
        refreshView();
    }

private:
    void refreshView()
    {
        this->_table = _entries.getItems();
        this->_count = _entries.getSize();
    }

    DynamicArrayList<Entry, 8> _entries;
};

} // namespace Ferrule

#endif
