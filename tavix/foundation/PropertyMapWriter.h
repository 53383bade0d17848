#ifndef TAVIX_FOUNDATION_PROPERTYMAPWRITER_H
#define TAVIX_FOUNDATION_PROPERTYMAPWRITER_H

#include <tavix/foundation/Export.h>

#include <cstddef>
#include <string_view>
#include <vector>

// Makes the block that a PropertyMap reads. Entries stand in it in the order in which they are added.
//
// Adding answers false, and changes nothing, when memory runs out or the block would pass 4 GiB - 1 byte.
class TAVIX_API PropertyMapWriter {
public:
    PropertyMapWriter();

    bool addBoolean(int key, bool value);
    bool addInteger(int key, int value);
    bool addFloat(int key, float value);
    bool addDouble(int key, double value);
    bool addText(int key, std::string_view value);
    // Null `data` adds an empty value.
    bool addBinary(int key, unsigned char const* data, std::size_t size);
    // A copy of what `value` holds now.
    bool addMap(int key, PropertyMapWriter const& value);

    // The block and its length. Lends: valid until something is added. Null and 0 when there was no memory for an
    // empty one.
    unsigned char* data() { return _block.data(); }
    std::size_t size() const { return _block.size(); }

private:
    bool add(int key, int type, void const* value, std::size_t size);
    bool addNumber32(int key, int type, void const* value);

    std::vector<unsigned char> _block;
};

#endif
