// The keywords of texts.

#include "tavix/elements/JsonSchemaRunInternal.h"

namespace Tavix {

using namespace Schema;

bool JsonSchemaValidator::validateString(StringElem* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    return _validateString(instance, path, schema, _run->scan(schema));
}

bool JsonSchemaValidator::_validateString(StringElem* instance, Path const& path, MapElem* schema,
                                          unsigned keywords)
{
    TextOf const value(instance);
    bool ok = true;
    if (has(keywords, kMinLength))
        ok &= validateMinLength(value, path, schema);
    if (has(keywords, kMaxLength))
        ok &= validateMaxLength(value, path, schema);
    if (has(keywords, kPattern))
        ok &= validatePattern(value, path, schema);
    if (has(keywords, kFormat))
        ok &= validateFormat(value, path, schema);
    return ok;
}

// The limits are unsigned: -1 is the largest.
bool JsonSchemaValidator::validateMinLength(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const limit = _run->child(schema, kMinLength);
    if (kindOf(limit) != Kind::Integer)
        return _refuse(kMinLength, path, schema);
    return static_cast<unsigned>(limit->intValue()) <= value.size() ||
           _fail(kStringMinLength, path, schema, limit->stringValue());
}

bool JsonSchemaValidator::validateMaxLength(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const limit = _run->child(schema, kMaxLength);
    if (kindOf(limit) != Kind::Integer)
        return _refuse(kMaxLength, path, schema);
    return static_cast<unsigned>(limit->intValue()) >= value.size() ||
           _fail(kStringMaxLength, path, schema, limit->stringValue());
}

bool JsonSchemaValidator::validatePattern(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const child = _run->child(schema, kPattern);
    if (kindOf(child) != Kind::String)
        return _refuse(kPattern, path, schema);
    TextOf const text(child);
    Pattern const pattern = _run->patterns.get(text);
    if (!pattern.isValid())
        return _fail(kInvalidStringPattern, path, schema, text);
    return pattern.isFoundIn(value) || _fail(kStringPattern, path, schema, text);
}

bool JsonSchemaValidator::validateFormat(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const child = _run->child(schema, kFormat);
    if (kindOf(child) != Kind::String)
        return _refuse(kFormat, path, schema);
    TextOf const name(child);
    Pattern const* const format = findFormat(name);
    if (!format || !format->isValid())
        return _fail(kInvalidStringFormat, path, schema, name);
    return format->matches(value) || _fail(kStringFormat, path, schema, name);
}

} // namespace Tavix
