// "allOf", "anyOf", "oneOf" and "not". The last three take back the errors of their members when they pass.

#include "tavix/elements/JsonSchemaRunInternal.h"

namespace Tavix {

using namespace Schema;

bool JsonSchemaValidator::validateAllOf(Element* instance, Path const& path, MapElem* schema)
{
    ListElem const* const members = asList(_run->child(schema, kAllOf));
    if (!members)
        return _refuse(kAllOf, path, schema);
    for (Element* member : *members) {
        if (!validate(instance, path, unchecked(member))) {
            return _fail(kInvalidAllOf, path, schema);
        }
    }
    return true;
}

bool JsonSchemaValidator::validateAnyOf(Element* instance, Path const& path, MapElem* schema)
{
    ListElem const* const members = asList(_run->child(schema, kAnyOf));
    if (!members)
        return _refuse(kAnyOf, path, schema);
    Tentatively tentatively(*this);
    for (Element* member : *members) {
        if (validate(instance, path, unchecked(member))) {
            tentatively.rollBack();
            return tentatively.end(true);
        }
    }
    _fail(kInvalidAnyOf, path, schema);
    return tentatively.end(false);
}

bool JsonSchemaValidator::validateOneOf(Element* instance, Path const& path, MapElem* schema)
{
    ListElem const* const members = asList(_run->child(schema, kOneOf));
    if (!members)
        return _refuse(kOneOf, path, schema);
    Tentatively tentatively(*this);
    std::size_t passed = 0;
    for (Element* member : *members)
        passed += validate(instance, path, unchecked(member)) ? 1 : 0;
    if (passed == 1) {
        tentatively.rollBack();
        return tentatively.end(true);
    }
    _fail(kInvalidOneOf, path, schema);
    return tentatively.end(false);
}

bool JsonSchemaValidator::validateNot(Element* instance, Path const& path, MapElem* schema)
{
    MapElem* const member = asMap(_run->child(schema, kNot));
    if (!member)
        return _refuse(kNot, path, schema);
    Tentatively tentatively(*this);
    if (validate(instance, path, member)) {
        _fail(kInvalidNot, path, schema);
        return tentatively.end(false);
    }
    tentatively.rollBack();
    return tentatively.end(true);
}

} // namespace Tavix
