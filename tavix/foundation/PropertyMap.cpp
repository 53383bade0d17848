// A map is two pointers into the block. An entry is checked once, when an iterator comes to it; everything that is
// read of it afterwards is known to lie inside the block.
#include "tavix/foundation/PropertyMap.h"

#include "tavix/foundation/PropertyMapFormatInternal.h"

#include <cstring>

using namespace PropertyMapFormat;

namespace {

bool isBlock(unsigned char const* data)
{
    return std::memcmp(data, kMark, sizeof kMark) == 0 && read32(data + kLengthOffset) >= kBlockHeader;
}

bool isBlockOf(unsigned char const* data, std::size_t size)
{
    return size >= kBlockHeader && isBlock(data) && read32(data + kLengthOffset) == size;
}

bool fitsType(int type, unsigned char const* value, std::size_t size)
{
    switch (type) {
    case PropertyMap::PM_BOOLEAN_TYPE:
        return size == 1;
    case PropertyMap::PM_INTEGER_TYPE:
    case PropertyMap::PM_FLOAT_TYPE:
        return size == 4;
    case PropertyMap::PM_DOUBLE_TYPE:
        return size == 8;
    case PropertyMap::PM_MAP_TYPE:
        return isBlockOf(value, size);
    default:
        return true;
    }
}

bool fits(unsigned char const* entry, unsigned char const* end)
{
    std::size_t const left = static_cast<std::size_t>(end - entry);
    if (left < kEntryHeader)
        return false;
    std::size_t const size = read32(entry + kSizeOffset);
    return size <= left - kEntryHeader && fitsType(entry[kTypeOffset], entry + kEntryHeader, size);
}

unsigned char const* behind(unsigned char const* entry)
{
    return entry + kEntryHeader + read32(entry + kSizeOffset);
}

// Number and value have the same bytes.
template <typename Value, typename Number>
Value fromBits(Number number)
{
    static_assert(sizeof(Value) == sizeof(Number), "the encoded form has the size of the value");
    Value value;
    std::memcpy(&value, &number, sizeof value);
    return value;
}

} // namespace

PropertyMap::PropertyMap(unsigned char* data) : _begin(nullptr), _end(nullptr)
{
    if (data && isBlock(data)) {
        _begin = data + kBlockHeader;
        _end = data + read32(data + kLengthOffset);
    }
}

PropertyMap::PropertyMap(unsigned char const* data, std::size_t size) : _begin(nullptr), _end(nullptr)
{
    if (data && isBlockOf(data, size)) {
        _begin = data + kBlockHeader;
        _end = data + size;
    }
}

PropertyMap::Iterator PropertyMap::begin() const
{
    return Iterator(_begin, _end);
}

PropertyMap::Iterator PropertyMap::end() const
{
    return Iterator(_end, _end);
}

bool PropertyMap::isWhole() const
{
    if (!_begin)
        return false;
    unsigned char const* position = _begin;
    while (position != _end && fits(position, _end))
        position = behind(position);
    return position == _end;
}

int PropertyMap::getValueType(_KeyValuePair const* entry)
{
    return reinterpret_cast<unsigned char const*>(entry)[kTypeOffset];
}

int PropertyMap::getKey(_KeyValuePair const* entry)
{
    return fromBits<int>(read32(reinterpret_cast<unsigned char const*>(entry)));
}

PropertyMap::Iterator::Iterator(unsigned char const* position, unsigned char const* end)
    : _entry(position != end && fits(position, end) ? position : end), _end(end)
{
}

PropertyMap::Iterator& PropertyMap::Iterator::operator++()
{
    if (_entry != _end)
        *this = Iterator(behind(_entry), _end);
    return *this;
}

PropertyMap::_KeyValuePair const* PropertyMap::Iterator::entry() const
{
    return reinterpret_cast<_KeyValuePair const*>(_entry);
}

int PropertyMap::Iterator::getType() const
{
    return _entry == _end ? PM_MAX_TYPE : getValueType(entry());
}

int PropertyMap::Iterator::getKey() const
{
    return _entry == _end ? 0 : PropertyMap::getKey(entry());
}

unsigned char const* PropertyMap::Iterator::getData() const
{
    return _entry == _end ? nullptr : _entry + kEntryHeader;
}

unsigned PropertyMap::Iterator::getDataSize() const
{
    return _entry == _end ? 0 : read32(_entry + kSizeOffset);
}

bool PropertyMap::Iterator::get(bool* value) const
{
    if (!isOf(PM_BOOLEAN_TYPE))
        return false;
    *value = *getData() != 0;
    return true;
}

bool PropertyMap::Iterator::get(int* value) const
{
    if (!isOf(PM_INTEGER_TYPE))
        return false;
    *value = fromBits<int>(read32(getData()));
    return true;
}

bool PropertyMap::Iterator::get(float* value) const
{
    if (!isOf(PM_FLOAT_TYPE))
        return false;
    *value = fromBits<float>(read32(getData()));
    return true;
}

bool PropertyMap::Iterator::get(double* value) const
{
    if (!isOf(PM_DOUBLE_TYPE))
        return false;
    *value = fromBits<double>(read64(getData()));
    return true;
}

bool PropertyMap::Iterator::get(char* buffer, unsigned size) const
{
    return isOf(PM_TEXT_TYPE) && copy(buffer, size);
}

bool PropertyMap::Iterator::get(unsigned char* buffer, unsigned size, unsigned* written) const
{
    bool const done = (isOf(PM_BINARY_TYPE) || isOf(PM_MAP_TYPE)) && copy(buffer, size);
    if (written)
        *written = done ? getDataSize() : 0;
    return done;
}

bool PropertyMap::Iterator::copy(void* buffer, unsigned size) const
{
    if (size < getDataSize())
        return false;
    if (getDataSize() > 0)
        std::memcpy(buffer, getData(), getDataSize());
    return true;
}
