// The keywords of texts.

#include "tavix/elements/JsonSchemaRunInternal.h"

namespace Tavix {

using namespace Schema;

bool JsonSchemaValidator::validateString(StringElem* instance, Path const& path, MapElem* schema)
{
    return _validateString(instance, path, schema, keywordsOf(schema));
}

bool JsonSchemaValidator::_validateString(StringElem* instance, Path const& path, MapElem* schema,
                                          unsigned keywords)
{
    TextOf const value(instance);
    bool ok = true;
    if (keywords & kMinLength)
        ok &= validateMinLength(value, path, schema);
    if (keywords & kMaxLength)
        ok &= validateMaxLength(value, path, schema);
    if (keywords & kPattern)
        ok &= validatePattern(value, path, schema);
    if (keywords & kFormat)
        ok &= validateFormat(value, path, schema);
    return ok;
}

// The limits are unsigned: -1 is the largest.
bool JsonSchemaValidator::validateMinLength(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const limit = schema->find("minLength");
    if (kindOf(limit) != Kind::Integer)
        return _refuseKeyword("minLength", path, schema);
    return static_cast<unsigned>(limit->intValue()) <= value.size() ||
           _fail(kStringMinLength, path, schema, limit->stringValue());
}

bool JsonSchemaValidator::validateMaxLength(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const limit = schema->find("maxLength");
    if (kindOf(limit) != Kind::Integer)
        return _refuseKeyword("maxLength", path, schema);
    return static_cast<unsigned>(limit->intValue()) >= value.size() ||
           _fail(kStringMaxLength, path, schema, limit->stringValue());
}

bool JsonSchemaValidator::validatePattern(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const child = schema->find("pattern");
    if (kindOf(child) != Kind::String)
        return _refuseKeyword("pattern", path, schema);
    TextOf const text(child);
    Pattern const pattern = _run->patterns.get(text);
    if (!pattern.isValid())
        return _fail(kInvalidStringPattern, path, schema, text);
    return pattern.isFoundIn(value) || _fail(kStringPattern, path, schema, text);
}

bool JsonSchemaValidator::validateFormat(std::string_view value, Path const& path, MapElem* schema)
{
    Element const* const child = schema->find("format");
    if (kindOf(child) != Kind::String)
        return _refuseKeyword("format", path, schema);
    TextOf const name(child);
    Pattern const* const format = findFormat(name);
    if (!format || !format->isValid())
        return _fail(kInvalidStringFormat, path, schema, name);
    return format->matches(value) || _fail(kStringFormat, path, schema, name);
}

} // namespace Tavix
