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

} // namespace

bool JsonSchemaValidator::validateNumber(Element* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    return _validateNumber(instance, path, schema, _run->scan(schema));
}

bool JsonSchemaValidator::_validateNumber(Element* instance, Path const& path, MapElem* schema,
                                          unsigned keywords)
{
    double const value = instance->doubleValue();
    if (!std::isfinite(value))
        return _fail(kInvalidInstance, path, schema, "invalid numeric value");
    bool ok = true;
    if (has(keywords, kMinimum))
        ok &= validateMinimum(value, path, schema);
    if (has(keywords, kMaximum))
        ok &= validateMaximum(value, path, schema);
    if (has(keywords, kMultipleOf))
        ok &= validateMultipleOf(value, path, schema);
    return ok;
}

bool JsonSchemaValidator::validateMinimum(double value, Path const& path, MapElem* schema)
{
    Element const* const minimum = _run->child(schema, kMinimum);
    if (!isNumber(minimum))
        return _refuse(kMinimum, path, schema);
    Element const* const exclusive = _run->child(schema, kExclusiveMinimum);
    if (kindOf(exclusive) != Kind::Boolean && (exclusive || schema->hasChild("exclusiveMinimum")))
        return _refuse(kExclusiveMinimum, path, schema);
    double const limit = minimum->doubleValue();
    if (limit > value)
        return _fail(kNumberMinimum, path, schema, numberText(limit));
    return limit != value || !exclusive || !exclusive->booleanValue() ||
           _fail(kNumberMinimumExclusive, path, schema, numberText(limit));
}

bool JsonSchemaValidator::validateMaximum(double value, Path const& path, MapElem* schema)
{
    Element const* const maximum = _run->child(schema, kMaximum);
    if (!isNumber(maximum))
        return _refuse(kMaximum, path, schema);
    Element const* const exclusive = _run->child(schema, kExclusiveMaximum);
    if (kindOf(exclusive) != Kind::Boolean && (exclusive || schema->hasChild("exclusiveMaximum")))
        return _refuse(kExclusiveMaximum, path, schema);
    double const limit = maximum->doubleValue();
    if (limit < value)
        return _fail(kNumberMaximum, path, schema, numberText(limit));
    return limit != value || !exclusive || !exclusive->booleanValue() ||
           _fail(kNumberMaximumExclusive, path, schema, numberText(limit));
}

// Without a tolerance. A divisor of 0 gives infinity, which has no fraction, and a NaN for 0.
bool JsonSchemaValidator::validateMultipleOf(double value, Path const& path, MapElem* schema)
{
    Element const* const divisor = _run->child(schema, kMultipleOf);
    if (!isNumber(divisor))
        return _refuse(kMultipleOf, path, schema);
    double whole;
    return std::modf(value / divisor->doubleValue(), &whole) == 0.0 ||
           _fail(kNumberMultipleOf, path, schema, numberText(divisor->doubleValue()));
}

} // namespace Tavix
