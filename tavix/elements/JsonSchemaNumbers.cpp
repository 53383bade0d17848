// The keywords of numbers. They compare doubles, in which every integer of 32 bits is exact.

#include "tavix/elements/JsonSchemaRunInternal.h"

#include <cmath>

namespace Tavix {

using namespace Schema;

namespace {

bool isNumber(Element const* e)
{
    Kind const kind = kindOf(e);
    return kind == Kind::Integer || kind == Kind::Number;
}

// Whether the limit itself is out of bounds; false in `isValid` when the keyword is no boolean.
bool isExclusive(MapElem const* schema, char const* keyword, bool& isValid)
{
    Element const* const exclusive = schema->find(keyword);
    isValid = kindOf(exclusive) == Kind::Boolean || (!exclusive && !schema->hasChild(keyword));
    return isValid && exclusive && exclusive->booleanValue();
}

} // namespace

bool JsonSchemaValidator::validateNumber(Element* instance, Path const& path, MapElem* schema)
{
    return _validateNumber(instance, path, schema, keywordsOf(schema));
}

bool JsonSchemaValidator::_validateNumber(Element* instance, Path const& path, MapElem* schema,
                                          unsigned keywords)
{
    double const value = instance->doubleValue();
    if (!std::isfinite(value))
        return _fail(kInvalidInstance, path, schema, "invalid numeric value");
    bool ok = true;
    if (keywords & kMinimum)
        ok &= validateMinimum(value, path, schema);
    if (keywords & kMaximum)
        ok &= validateMaximum(value, path, schema);
    if (keywords & kMultipleOf)
        ok &= validateMultipleOf(value, path, schema);
    return ok;
}

bool JsonSchemaValidator::validateMinimum(double value, Path const& path, MapElem* schema)
{
    Element const* const minimum = schema->find("minimum");
    if (!isNumber(minimum))
        return _refuseKeyword("minimum", path, schema);
    bool isValid;
    bool const exclusive = isExclusive(schema, "exclusiveMinimum", isValid);
    if (!isValid)
        return _refuseKeyword("exclusiveMinimum", path, schema);
    double const limit = minimum->doubleValue();
    if (limit > value)
        return _fail(kNumberMinimum, path, schema, numberText(limit));
    return limit != value || !exclusive || _fail(kNumberMinimumExclusive, path, schema, numberText(limit));
}

bool JsonSchemaValidator::validateMaximum(double value, Path const& path, MapElem* schema)
{
    Element const* const maximum = schema->find("maximum");
    if (!isNumber(maximum))
        return _refuseKeyword("maximum", path, schema);
    bool isValid;
    bool const exclusive = isExclusive(schema, "exclusiveMaximum", isValid);
    if (!isValid)
        return _refuseKeyword("exclusiveMaximum", path, schema);
    double const limit = maximum->doubleValue();
    if (limit < value)
        return _fail(kNumberMaximum, path, schema, numberText(limit));
    return limit != value || !exclusive || _fail(kNumberMaximumExclusive, path, schema, numberText(limit));
}

// Without a tolerance. A divisor of 0 gives infinity, which has no fraction, and a NaN for 0.
bool JsonSchemaValidator::validateMultipleOf(double value, Path const& path, MapElem* schema)
{
    Element const* const divisor = schema->find("multipleOf");
    if (!isNumber(divisor))
        return _refuseKeyword("multipleOf", path, schema);
    double whole;
    return std::modf(value / divisor->doubleValue(), &whole) == 0.0 ||
           _fail(kNumberMultipleOf, path, schema, numberText(divisor->doubleValue()));
}

} // namespace Tavix
