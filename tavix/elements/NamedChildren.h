#ifndef TAVIX_ELEMENTS_NAMEDCHILDREN_H
#define TAVIX_ELEMENTS_NAMEDCHILDREN_H

#include <tavix/foundation/NodeAllocator.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tavix {

class Element;

// The entries of a MapElem: names with a borrowed pointer each, sorted byte by byte.
//
// The entries stand in sorted blocks of limited size. A small map is one array, so a message's map costs one
// allocation and not one per entry; a large one filled in any order moves at most one block per insertion.
class NamedChildren {
public:
    using Entry = std::pair<std::string, Element*>;

    class Iterator {
    public:
        Entry const& operator*() const { return _owner->_block(_blockIndex)[_index]; }
        Entry const* operator->() const { return &**this; }
        Iterator& operator++()
        {
            if (++_index == _owner->_block(_blockIndex).size()) {
                ++_blockIndex;
                _index = 0;
            }
            return *this;
        }
        bool operator==(Iterator const& other) const
        {
            return _blockIndex == other._blockIndex && _index == other._index;
        }
        bool operator!=(Iterator const& other) const { return !(*this == other); }

    private:
        friend class NamedChildren;
        Iterator(NamedChildren const* owner, std::size_t blockIndex, std::size_t index)
            : _owner(owner), _blockIndex(blockIndex), _index(index)
        {
        }

        NamedChildren const* _owner;
        std::size_t _blockIndex;
        std::size_t _index;
    };

    Iterator begin() const { return {this, _size == 0 ? 1u : 0u, 0}; }
    Iterator end() const { return {this, 1 + _more.size(), 0}; }
    std::size_t size() const { return _size; }

    // The entry of that name, or end().
    Iterator find(std::string_view name) const;

    // Room for `count` entries, as far as one block holds them.
    void reserve(std::size_t count);

    // Enters `child`, or puts it in the place of the child of that name, which is given back; else null.
    Element* put(std::string_view name, Element* child);

    // Replaces the child of an entry.
    void replace(Iterator entry, Element* child) { _block(entry._blockIndex)[entry._index].second = child; }

    void erase(Iterator entry);
    void clear();

private:
    using Block = std::vector<Entry, Ferrule::NodeAllocator<Entry>>;

    Block const& _block(std::size_t index) const { return index == 0 ? _first : _more[index - 1]; }
    Block& _block(std::size_t index) { return index == 0 ? _first : _more[index - 1]; }
    std::size_t _blockFor(std::string_view name) const;
    void _split(std::size_t blockIndex, std::size_t kept);
    void _insert(std::size_t blockIndex, std::size_t index, std::string_view name, Element* child);
    void _insertInFull(std::size_t blockIndex, std::size_t index, Entry entry);

    // Every block but a first one without any other has entries.
    Block _first;
    std::vector<Block> _more;
    std::size_t _size = 0;
};

} // namespace Tavix

#endif
