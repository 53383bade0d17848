#include "tavix/elements/NamedChildren.h"

#include <algorithm>
#include <iterator>

namespace Tavix {

namespace {

constexpr std::size_t kBlockEntries = 128;
constexpr std::size_t kFirstEntries = 4;
constexpr std::size_t kSmallBlock = 8;

// By unsigned bytes. Most names differ in the first one, which needs no call.
bool isLess(std::string_view left, std::string_view right)
{
    if (!left.empty() && !right.empty() && left[0] != right[0])
        return static_cast<unsigned char>(left[0]) < static_cast<unsigned char>(right[0]);
    return left < right;
}

bool isBefore(NamedChildren::Entry const& entry, std::string_view name)
{
    return isLess(entry.first, name);
}

} // namespace

// The last block that begins at or before `name`.
std::size_t NamedChildren::_blockFor(std::string_view name) const
{
    auto const beginsAfter = [](std::string_view wanted, Block const& block) {
        return wanted < block.front().first;
    };
    return static_cast<std::size_t>(std::upper_bound(_more.begin(), _more.end(), name, beginsAfter) -
                                    _more.begin());
}

NamedChildren::Iterator NamedChildren::find(std::string_view name) const
{
    std::size_t const blockIndex = _more.empty() ? 0 : _blockFor(name);
    Block const& block = _block(blockIndex);
    // Among a few, most of them of other lengths, looking at each is faster than comparing for the order.
    bool const isSmall = block.size() <= kSmallBlock;
    auto const entry = isSmall ? std::find_if(block.begin(), block.end(),
                                              [=](Entry const& entry) { return entry.first == name; })
                               : std::lower_bound(block.begin(), block.end(), name, isBefore);
    if (entry == block.end() || entry->first != name)
        return end();
    return {this, blockIndex, static_cast<std::size_t>(entry - block.begin())};
}

void NamedChildren::reserve(std::size_t count)
{
    _first.reserve(std::min(count, kBlockEntries));
}

Element* NamedChildren::put(std::string_view name, Element* child)
{
    std::size_t const blockIndex = _more.empty() ? 0 : _blockFor(name);
    Block& block = _block(blockIndex);
    // Encoders and readers mostly come in order: the place is behind the last entry then.
    auto const place = block.empty() || isBefore(block.back(), name)
                           ? block.end()
                           : std::lower_bound(block.begin(), block.end(), name, isBefore);
    if (place != block.end() && place->first == name)
        return std::exchange(place->second, child);
    _insert(blockIndex, static_cast<std::size_t>(place - block.begin()), name, child);
    ++_size;
    return nullptr;
}

// Moves the entries from `kept` on into a new block behind this one.
void NamedChildren::_split(std::size_t blockIndex, std::size_t kept)
{
    Block rest;
    rest.reserve(kBlockEntries);
    _more.insert(_more.begin() + static_cast<std::ptrdiff_t>(blockIndex), std::move(rest));
    Block& from = _block(blockIndex);
    auto const firstMoved = from.begin() + static_cast<std::ptrdiff_t>(kept);
    _block(blockIndex + 1).assign(std::make_move_iterator(firstMoved), std::make_move_iterator(from.end()));
    from.erase(firstMoved, from.end());
}

void NamedChildren::_insert(std::size_t blockIndex, std::size_t index, std::string_view name, Element* child)
{
    Block& block = _block(blockIndex);
    if (block.size() == kBlockEntries)
        return _insertInFull(blockIndex, index, Entry(name, child));
    if (block.capacity() == 0)
        block.reserve(kFirstEntries);
    if (index == block.size())
        block.emplace_back(name, child);
    else
        block.emplace(block.begin() + static_cast<std::ptrdiff_t>(index), name, child);
}

// The entry is there already, so that nothing can fail between the split and the insertion.
void NamedChildren::_insertInFull(std::size_t blockIndex, std::size_t index, Entry entry)
{
    // Half of the block moves on, or none of it when the new entry is the last of all.
    bool const isLast = blockIndex == _more.size() && index == kBlockEntries;
    std::size_t const kept = isLast ? kBlockEntries : kBlockEntries / 2;
    _split(blockIndex, kept);
    if (isLast || index > kept) {
        ++blockIndex;
        index -= kept;
    }
    Block& block = _block(blockIndex);
    block.insert(block.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
}

void NamedChildren::erase(Iterator entry)
{
    Block& block = _block(entry._blockIndex);
    block.erase(block.begin() + static_cast<std::ptrdiff_t>(entry._index));
    --_size;
    if (!block.empty() || _more.empty())
        return;
    if (entry._blockIndex == 0) {
        _first = std::move(_more.front());
        _more.erase(_more.begin());
    } else {
        _more.erase(_more.begin() + static_cast<std::ptrdiff_t>(entry._blockIndex - 1));
    }
}

void NamedChildren::clear()
{
    _first.clear();
    _more.clear();
    _size = 0;
}

} // namespace Tavix
