// The keywords of lists.

#include "tavix/elements/ElementText.h"
#include "tavix/elements/JsonSchemaValuesInternal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

namespace Tavix {

using namespace Schema;

bool JsonSchemaValidator::validateArray(ListElem* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    return _validateArray(instance, path, schema, _run->scan(schema));
}

bool JsonSchemaValidator::_validateArray(ListElem* instance, Path const& path, MapElem* schema,
                                         unsigned keywords)
{
    bool ok = true;
    if (has(keywords, kMinItems))
        ok &= validateMinItems(instance, path, schema);
    if (has(keywords, kMaxItems))
        ok &= validateMaxItems(instance, path, schema);
    if (has(keywords, kItems))
        ok &= asList(_run->child(schema, kItems)) ? validateTuple(instance, path, schema)
                                                  : validateItems(instance, path, schema);
    if (has(keywords, kUniqueItems))
        ok &= validateUniqueItems(instance, path, schema);
    return ok;
}

bool JsonSchemaValidator::validateMinItems(ListElem* instance, Path const& path, MapElem* schema)
{
    return _validateMinCount(instance, kMinItems, kArrayMinItems, path, schema);
}

bool JsonSchemaValidator::validateMaxItems(ListElem* instance, Path const& path, MapElem* schema)
{
    return _validateMaxCount(instance, kMaxItems, kArrayMaxItems, path, schema);
}

bool JsonSchemaValidator::validateItems(ListElem* instance, Path const& path, MapElem* schema)
{
    MapElem* const items = asMap(_run->child(schema, kItems));
    if (!items)
        return _refuse(kItems, path, schema);
    bool ok = true;
    std::size_t index = 0;
    for (Element* element : *instance)
        ok &= validate(element, Path(path, index++), items);
    return ok;
}

bool JsonSchemaValidator::validateTuple(ListElem* instance, Path const& path, MapElem* schema)
{
    ListElem* const items = asList(_run->child(schema, kItems));
    if (!items)
        return _refuse(kItems, path, schema);
    bool ok = true;
    unsigned const length = static_cast<unsigned>(items->size());
    unsigned const count = static_cast<unsigned>(instance->size());
    for (unsigned i = 0; i < std::min(length, count); ++i)
        ok &= validate(instance->getChild(i), Path(path, i), unchecked(items->getChild(i)));
    if (count < length)
        ok = _fail(kArrayMinItems, path, schema, iToString(static_cast<int>(length)));
    if (count <= length)
        return ok;
    if (!schemaAllowsAdditionalItems(schema, path))
        return _fail(kArrayMaxItems, path, schema, iToString(static_cast<int>(length)));
    if (MapElem* const extra = getAdditionalItemsSchema(schema))
        for (unsigned i = length; i < count; ++i)
            ok &= validate(instance->getChild(i), Path(path, i), extra);
    return ok;
}

bool JsonSchemaValidator::schemaAllowsAdditionalItems(MapElem* schema, Path const& path)
{
    return _allowsAdditional(kAdditionalItems, _additionalItemsDefault, path, schema);
}

MapElem* JsonSchemaValidator::getAdditionalItemsSchema(MapElem* schema)
{
    return asMap(schema->find("additionalItems"));
}

namespace {

// The values of one kind that a list has had so far. Most lists are short.
template <class T>
class Seen {
public:
    // False when it is there already.
    bool add(T value)
    {
        if (_count == _few.size())
            return std::find(_few.begin(), _few.end(), value) == _few.end() && _more.insert(value).second;
        auto const end = _few.begin() + static_cast<std::ptrdiff_t>(_count);
        if (std::find(_few.begin(), end, value) != end)
            return false;
        _few[_count++] = value;
        return true;
    }

private:
    std::array<T, 16> _few;
    std::size_t _count = 0;
    std::set<T> _more;
};

struct SeenValues {
    bool null = false;
    bool booleans[2] = {false, false};
    Seen<std::string_view> texts;
    Seen<double> numbers;
    Seen<int> integers;
    std::vector<Element*> lists;
    std::vector<Element*> maps;
};

bool mark(bool& flag)
{
    return !std::exchange(flag, true);
}

template <class Equal>
bool addContainer(std::vector<Element*>& seen, Element* item, Equal areEqual)
{
    for (Element* const earlier : seen)
        if (earlier == item || areEqual(item, earlier))
            return false;
    seen.push_back(item);
    return true;
}

// False when an equal value is there already. Kinds stand apart, and those without a type are passed over.
template <class Equal>
bool add(SeenValues& seen, Element* item, Equal areEqual)
{
    switch (kindOf(item)) {
    case Kind::Null:
        return mark(seen.null);
    case Kind::Boolean:
        return mark(seen.booleans[item->booleanValue() ? 1 : 0]);
    case Kind::String:
        return seen.texts.add(static_cast<StringElem const*>(item)->text());
    case Kind::Number:
        return std::isnan(item->doubleValue()) || seen.numbers.add(item->doubleValue());
    case Kind::Integer:
        return seen.integers.add(item->intValue());
    case Kind::Array:
        return addContainer(seen.lists, item, areEqual);
    case Kind::Object:
        return addContainer(seen.maps, item, areEqual);
    default:
        return true;
    }
}

std::string duplicateText(Element const* item)
{
    switch (kindOf(item)) {
    case Kind::Null:
        return "null";
    case Kind::Array:
    case Kind::Object:
        return item->toString();
    default:
        return item->stringValue();
    }
}

} // namespace

bool JsonSchemaValidator::validateUniqueItems(ListElem* instance, Path const& path, MapElem* schema)
{
    Element const* const unique = _run->child(schema, kUniqueItems);
    if (kindOf(unique) != Kind::Boolean)
        return _refuse(kUniqueItems, path, schema);
    if (!unique->booleanValue())
        return true;
    SeenValues seen;
    Comparison comparison(nullptr, nullptr);
    for (std::size_t i = 0; i < instance->size(); ++i) {
        Element* const item = instance->getChild(static_cast<unsigned>(i));
        Path const place(path, i);
        bool const isNew =
            add(seen, item, [&](Element* a, Element* b) { return comparison.areEqual(a, b, place); });
        if (!isNew)
            return _fail(kArrayDuplicateItem, path, schema, duplicateText(item));
    }
    return !comparison.isTooDeep() || _failDepth(kInvalidInstance, path, schema, kMaxNesting);
}

} // namespace Tavix
