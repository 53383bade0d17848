#ifndef TAVIX_ELEMENTS_JSONSCHEMAKINDINTERNAL_H
#define TAVIX_ELEMENTS_JSONSCHEMAKINDINTERNAL_H

// What kind of value a node is, and its text without a copy: the two questions that validation asks most.

#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <typeinfo>

namespace Tavix {
namespace Schema {

enum class Kind { NoPointer, Null, Boolean, Integer, Number, String, Object, Array, Unknown };

// By the class of the node, and for a class that is not ours by asking instanceOf in the order of the kinds.
inline Kind kindOf(Element const* e)
{
    if (!e)
        return Kind::NoPointer;
    std::type_info const* const type = &typeid(*e);
    if (type == &typeid(StringElem))
        return Kind::String;
    if (type == &typeid(MapElem))
        return Kind::Object;
    if (type == &typeid(IntegerElem))
        return Kind::Integer;
    if (type == &typeid(ListElem))
        return Kind::Array;
    if (type == &typeid(DoubleElem))
        return Kind::Number;
    if (type == &typeid(BooleanElem))
        return Kind::Boolean;
    if (type == &typeid(NullElem))
        return Kind::Null;
    Kind kindByName(Element const* e);
    return kindByName(e);
}

std::string_view typeText(Kind kind);

// The child as T, null when it is of another kind.
template <class T>
T* as(Element* e, Kind kind)
{
    return kindOf(e) == kind ? static_cast<T*>(e) : nullptr;
}
inline MapElem* asMap(Element* e)
{
    return as<MapElem>(e, Kind::Object);
}
inline ListElem* asList(Element* e)
{
    return as<ListElem>(e, Kind::Array);
}

// A schema as it came: a pointer that is called a map and may be anything, or null. Only this function looks at it.
inline Element* untrusted(MapElem* schema)
{
    return reinterpret_cast<Element*>(schema);
}
inline MapElem* unchecked(Element* e)
{
    return reinterpret_cast<MapElem*>(e);
}

// stringValue() of a node, empty for a null pointer. Lends the text of a StringElem.
class TextOf {
public:
    explicit TextOf(Element const* e)
    {
        if (!e)
            return;
        if (typeid(*e) == typeid(StringElem)) {
            _text = static_cast<StringElem const*>(e)->text();
        } else {
            _own = e->stringValue();
            _text = _own;
        }
    }
    TextOf(TextOf const&) = delete;
    TextOf& operator=(TextOf const&) = delete;

    operator std::string_view() const { return _text; } // NOLINT(google-explicit-constructor)

private:
    std::string _own;
    std::string_view _text;
};

} // namespace Schema
} // namespace Tavix

#endif
