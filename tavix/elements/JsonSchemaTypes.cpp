// "type" and "enum".

#include "tavix/elements/JsonSchemaRunInternal.h"

namespace Tavix {

using namespace Schema;

bool JsonSchemaValidator::validateSchemaType(Element* instance, Path const& path, MapElem* schema)
{
    Kind const kind = kindOf(instance);
    _reportKind(kind, instance, path, schema);
    std::string_view const actual = typeText(kind);
    if (asList(_run->child(schema, kType)))
        return validateTypes(instance, actual, path, schema);
    return validateType(instance, actual, path, schema);
}

bool JsonSchemaValidator::validateType(Element*, std::string_view actual, Path const& path, MapElem* schema)
{
    Element* const type = _run->child(schema, kType);
    if (kindOf(type) != Kind::String)
        return _refuse(kType, path, schema);
    TextOf const text(type);
    std::string_view const wanted = text;
    if (wanted == actual || wanted == "any" || (wanted == "number" && actual == "integer"))
        return true;
    return _fail(kInvalidType, path, schema, wanted, actual);
}

bool JsonSchemaValidator::validateTypes(Element*, std::string_view actual, Path const& path, MapElem* schema)
{
    ListElem const* const types = asList(_run->child(schema, kType));
    if (!types)
        return _refuse(kType, path, schema);
    std::string expected;
    bool isFirst = true;
    for (Element const* entry : *types) {
        TextOf const text(entry);
        std::string_view const name = text;
        if (name == actual || name == "any") {
            if (actual != typeText(Kind::Unknown) && actual != typeText(Kind::NoPointer))
                return true;
            break;
        }
        if (!isFirst)
            expected += " | ";
        isFirst = false;
        expected += name;
    }
    return _fail(kInvalidType, path, schema, expected, actual);
}

bool JsonSchemaValidator::validateEnum(Element* instance, Path const& path, MapElem* schema)
{
    ListElem const* const choices = asList(_run->child(schema, kEnum));
    if (!choices)
        return _refuse(kEnum, path, schema);
    for (Element* choice : *choices)
        if (valuesEqual(instance, choice, path, schema))
            return true;
    return _fail(kInvalidEnum, path, schema);
}

} // namespace Tavix
