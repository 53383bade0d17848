// From a property map to a value tree. Nested maps are read where they lie in the outer block; their depth is
// bounded, so that the tree fits a message and the stack.
#include "tavix/elements/MapElemImport.h"

#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/StringElem.h"
#include "tavix/foundation/Check.h"

#include <cstdlib>
#include <memory>
#include <new>

namespace Tavix {

namespace {

MapElem* toMap(PropertyMap const& map, unsigned level);

template <typename Value, typename Elem>
Element* toNumber(PropertyMap::Iterator const& i)
{
    Value value{};
    return i.get(&value) ? new (std::nothrow) Elem(value) : nullptr;
}

// The text ends at the first zero byte.
Element* toText(PropertyMap::Iterator const& i)
{
    std::string_view const bytes(reinterpret_cast<char const*>(i.getData()), i.getDataSize());
    try {
        return new (std::nothrow) StringElem(bytes.substr(0, bytes.find('\0')));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

Element* toBinary(PropertyMap::Iterator const& i)
{
    unsigned const size = i.getDataSize();
    auto* const bytes = static_cast<unsigned char*>(size > 0 ? std::malloc(size) : nullptr);
    if (size > 0 && !i.get(bytes, bytes ? size : 0, nullptr))
        return nullptr;
    Element* const element = new (std::nothrow) BinaryElem(bytes, size);
    if (!element)
        std::free(bytes);
    return element;
}

// `level` is where the element will stand.
Element* toElement(PropertyMap::Iterator const& i, unsigned level)
{
    if (level > kMaxNesting)
        return nullptr;
    switch (i.getType()) {
    case PropertyMap::PM_BOOLEAN_TYPE:
        return toNumber<bool, BooleanElem>(i);
    case PropertyMap::PM_INTEGER_TYPE:
        return toNumber<int, IntegerElem>(i);
    case PropertyMap::PM_FLOAT_TYPE:
        return toNumber<float, DoubleElem>(i);
    case PropertyMap::PM_DOUBLE_TYPE:
        return toNumber<double, DoubleElem>(i);
    case PropertyMap::PM_TEXT_TYPE:
        return toText(i);
    case PropertyMap::PM_BINARY_TYPE:
        return toBinary(i);
    case PropertyMap::PM_MAP_TYPE:
        return toMap(PropertyMap(i.getData(), i.getDataSize()), level);
    default:
        return nullptr;
    }
}

MapElem* toMap(PropertyMap const& map, unsigned level)
{
    if (!map.isWhole())
        return nullptr;
    std::unique_ptr<MapElem> tree(new (std::nothrow) MapElem());
    if (!tree)
        return nullptr;
    for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i) {
        TAVIX_CHECK(i.getType() != PropertyMap::PM_POINTER_TYPE, "i.getType() != PM_POINTER_TYPE");
        TAVIX_CHECK(i.getType() != PropertyMap::PM_MAX_TYPE, "i.getType() != PM_MAX_TYPE");
        Element* const value = toElement(i, level + 1);
        // addChild takes the value, also when it fails.
        if (!value || tree->addChild(static_cast<unsigned>(i.getKey()), value) != OPERATION_OK)
            return nullptr;
    }
    return tree.release();
}

// The level of what stands behind "params" or "result" in a message.
constexpr unsigned kRootLevel = 1;

} // namespace

MapElem* MapElem::create_raw(PropertyMap const& map)
{
    return toMap(map, kRootLevel);
}

Element* getElemValue(PropertyMap::Iterator const& i)
{
    return toElement(i, kRootLevel);
}

} // namespace Tavix
