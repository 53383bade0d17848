#include "tavix/foundation/PropertyMapWriter.h"

#include "tavix/foundation/PropertyMap.h"
#include "tavix/foundation/PropertyMapFormatInternal.h"

#include <cstring>
#include <new>

using namespace PropertyMapFormat;

PropertyMapWriter::PropertyMapWriter()
{
    try {
        _block.assign(kMark, kMark + sizeof kMark);
        _block.resize(kBlockHeader);
        write32(_block.data() + kLengthOffset, kBlockHeader);
    } catch (std::bad_alloc const&) {
        _block.clear();
    }
}

bool PropertyMapWriter::addBoolean(int key, bool value)
{
    unsigned char const byte = value;
    return add(key, PropertyMap::PM_BOOLEAN_TYPE, &byte, sizeof byte);
}

bool PropertyMapWriter::addInteger(int key, int value)
{
    return addNumber32(key, PropertyMap::PM_INTEGER_TYPE, &value);
}

bool PropertyMapWriter::addFloat(int key, float value)
{
    return addNumber32(key, PropertyMap::PM_FLOAT_TYPE, &value);
}

bool PropertyMapWriter::addDouble(int key, double value)
{
    std::uint64_t bits;
    unsigned char bytes[sizeof bits];
    static_assert(sizeof value == sizeof bits, "a double has eight bytes");
    std::memcpy(&bits, &value, sizeof bits);
    write64(bytes, bits);
    return add(key, PropertyMap::PM_DOUBLE_TYPE, bytes, sizeof bytes);
}

bool PropertyMapWriter::addText(int key, std::string_view value)
{
    return add(key, PropertyMap::PM_TEXT_TYPE, value.data(), value.size());
}

bool PropertyMapWriter::addBinary(int key, unsigned char const* data, std::size_t size)
{
    return add(key, PropertyMap::PM_BINARY_TYPE, data, data ? size : 0);
}

bool PropertyMapWriter::addMap(int key, PropertyMapWriter const& value)
{
    if (value._block.empty())
        return false;
    if (&value != this)
        return add(key, PropertyMap::PM_MAP_TYPE, value._block.data(), value._block.size());
    try {
        std::vector<unsigned char> const copy = value._block;
        return add(key, PropertyMap::PM_MAP_TYPE, copy.data(), copy.size());
    } catch (std::bad_alloc const&) {
        return false;
    }
}

// An integer or a float, from where it lies in memory.
bool PropertyMapWriter::addNumber32(int key, int type, void const* value)
{
    std::uint32_t bits;
    unsigned char bytes[sizeof bits];
    std::memcpy(&bits, value, sizeof bits);
    write32(bytes, bits);
    return add(key, type, bytes, sizeof bytes);
}

// Growing is what may fail, so it comes first, and by doubling: an entry costs its own length.
bool PropertyMapWriter::add(int key, int type, void const* value, std::size_t size)
{
    std::size_t const offset = _block.size();
    if (offset < kBlockHeader || size > UINT32_MAX - kEntryHeader ||
        offset > UINT32_MAX - kEntryHeader - size)
        return false;
    try {
        _block.resize(offset + kEntryHeader + size);
    } catch (std::bad_alloc const&) {
        return false;
    }
    unsigned char* const entry = _block.data() + offset;
    write32(entry, static_cast<std::uint32_t>(key));
    entry[kTypeOffset] = static_cast<unsigned char>(type);
    write32(entry + kSizeOffset, static_cast<std::uint32_t>(size));
    if (size > 0)
        std::memcpy(entry + kEntryHeader, value, size);
    write32(_block.data() + kLengthOffset, static_cast<std::uint32_t>(_block.size()));
    return true;
}
