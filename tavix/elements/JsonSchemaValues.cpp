// Deep comparison of two values, for "enum" and "uniqueItems".

#include "tavix/elements/JsonSchemaValuesInternal.h"

namespace Tavix {

using namespace Schema;

Kind JsonSchemaValidator::Comparison::_kindOf(Element* e, Path const& path)
{
    Kind const kind = kindOf(e);
    if (_reports)
        _reports->_reportKind(kind, e, path, _schema);
    return kind;
}

bool JsonSchemaValidator::Comparison::areEqual(Element* a, Element* b, Path const& path)
{
    Kind const kind = _kindOf(a, path);
    if (kind != _kindOf(b, path))
        return false;
    switch (kind) {
    case Kind::String:
        return std::string_view(TextOf(a)) == std::string_view(TextOf(b));
    case Kind::Number:
        return a->doubleValue() == b->doubleValue();
    case Kind::Integer:
        return a->intValue() == b->intValue();
    case Kind::Boolean:
        return a->booleanValue() == b->booleanValue();
    case Kind::Null:
        return true;
    case Kind::Object:
        return _goesOn(path) && _mapsAreEqual(static_cast<MapElem*>(a), static_cast<MapElem*>(b), path);
    case Kind::Array:
        return _goesOn(path) && _listsAreEqual(static_cast<ListElem*>(a), static_cast<ListElem*>(b), path);
    default:
        return false;
    }
}

bool JsonSchemaValidator::Comparison::_goesOn(Path const& path)
{
    if (path.level() <= kMaxNesting)
        return true;
    _isTooDeep = true;
    return false;
}

// The keys first: values of different maps are not looked at.
bool JsonSchemaValidator::Comparison::_mapsAreEqual(MapElem* a, MapElem* b, Path const& path)
{
    if (a->size() != b->size())
        return false;
    auto other = a->begin();
    for (auto const& entry : *b) {
        if (entry.first != other->first)
            return false;
        ++other;
    }
    other = a->begin();
    for (auto const& [name, child] : *b) {
        if (!areEqual(other->second, child, Path(path, name)))
            return false;
        ++other;
    }
    return true;
}

bool JsonSchemaValidator::Comparison::_listsAreEqual(ListElem* a, ListElem* b, Path const& path)
{
    if (a->size() != b->size())
        return false;
    for (Element const* child : *a)
        if (!child)
            return false; // a place without a value is no place
    for (unsigned i = 0; i < a->size(); ++i)
        if (!areEqual(a->getChild(i), b->getChild(i), Path(path, i)))
            return false;
    return true;
}

bool JsonSchemaValidator::valuesEqual(Element* a, Element* b, Path const& path, MapElem* schema)
{
    Comparison comparison(this, schema);
    bool const equal = comparison.areEqual(a, b, path);
    if (comparison.isTooDeep())
        _failDepth(kInvalidInstance, path, schema, kMaxNesting);
    return equal;
}

bool JsonSchemaValidator::valuesEqual(Element* a, Element* b)
{
    return Comparison(nullptr, nullptr).areEqual(a, b, "#");
}

} // namespace Tavix
