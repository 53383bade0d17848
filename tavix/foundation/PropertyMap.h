#ifndef TAVIX_FOUNDATION_PROPERTYMAP_H
#define TAVIX_FOUNDATION_PROPERTYMAP_H

#include <tavix/foundation/Export.h>

#include <cstddef>

// Typed values under integer keys, read from one encoded block, which is lent: it must outlive the map and its
// iterators. PropertyMapWriter makes such blocks. All numbers are big-endian, and nothing is aligned.
//
//   block:  offset 0   4 bytes   "PMAP"
//                  4   4 bytes   length of the whole block, these eight bytes included
//                  8             the entries, back to back, to the end of the block
//   entry:  offset 0   4 bytes   key, two's complement
//                  4   1 byte    value type
//                  5   4 bytes   size of the value in bytes
//                  9             the value
//
//   type                    size   value
//   0  boolean              1      0 is false, anything else true
//   1  integer              4      two's complement
//   2  float                4      IEEE 754
//   3  double               8      IEEE 754
//   4  text                 any    bytes, not terminated
//   5  binary               any    bytes
//   6  nested property map  >= 8   a block, whose own length is this size
//   7 and more              any    nothing that this class reads
//
// Nothing beyond the block's length is ever read. The entries end at the first one that does not fit: one that
// runs over the end, has another size than its type demands, or nests a block that is none or that states another
// length. isWhole tells such a block from a good one. The inside of a nested block is checked by the map over it.
// Keys may come in any order, and more than once.
class TAVIX_API PropertyMap {
public:
    enum Type : int {
        PM_BOOLEAN_TYPE = 0,
        PM_INTEGER_TYPE = 1,
        PM_FLOAT_TYPE = 2,
        PM_DOUBLE_TYPE = 3,
        PM_TEXT_TYPE = 4,
        PM_BINARY_TYPE = 5,
        PM_MAP_TYPE = 6,
        PM_POINTER_TYPE = 7, // an address in the process that made the map
        PM_MAX_TYPE = 8
    };

    // An entry in its encoded form.
    struct _KeyValuePair;

    class TAVIX_API Iterator {
    public:
        // Goes to the next entry; stays at the end.
        Iterator& operator++();
        bool operator==(Iterator const& other) const { return _entry == other._entry; }
        bool operator!=(Iterator const& other) const { return _entry != other._entry; }

        // Lends the entry; it must not be read at the end. The other questions have an answer there too:
        // PM_MAX_TYPE, 0, null and false.
        _KeyValuePair const* entry() const;
        int getType() const;
        int getKey() const;

        // The bytes of the value, and how many. Lends.
        unsigned char const* getData() const;
        unsigned getDataSize() const;

        // The value. False, with nothing stored, when it is of another type.
        bool get(bool* value) const;
        bool get(int* value) const;
        bool get(float* value) const;
        bool get(double* value) const;

        // Copies the getDataSize() bytes of a text, without a zero behind them. False, with nothing copied, when
        // it is no text or `size` is less.
        bool get(char* buffer, unsigned size) const;
        // The same for a binary or nested value. `written`, which may be null, is the number of bytes copied.
        bool get(unsigned char* buffer, unsigned size, unsigned* written) const;

    private:
        friend class PropertyMap;
        Iterator(unsigned char const* position, unsigned char const* end);
        bool isOf(int type) const { return getType() == type; }
        bool copy(void* buffer, unsigned size) const;

        unsigned char const* _entry; // one that fits, or _end
        unsigned char const* _end;
    };

    // Over the block at `data`, as long as it says itself. Null, and what is no block, has no entries.
    explicit PropertyMap(unsigned char* data);
    // The same for a block of unknown origin in `size` bytes: one that states another length has no entries.
    PropertyMap(unsigned char const* data, std::size_t size);

    Iterator begin() const;
    Iterator end() const;

    // True when this is a block and all its entries fit.
    bool isWhole() const;

    // Of an entry that an iterator has shown. A type may be more than PM_MAX_TYPE.
    static int getValueType(_KeyValuePair const* entry);
    static int getKey(_KeyValuePair const* entry);

private:
    unsigned char const* _begin; // of the entries; null for what is no block
    unsigned char const* _end;
};

#endif
