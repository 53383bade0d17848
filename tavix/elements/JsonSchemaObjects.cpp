// The keywords of objects. Both the instance's children and those of "properties" stand in the order of their names, so
// that they are matched by walking along the two.

#include "tavix/elements/ElementText.h"
#include "tavix/elements/JsonSchemaRunInternal.h"

#include <algorithm>
#include <new>

namespace Tavix {

using namespace Schema;

namespace {

// Also when the child is null.
bool hasChild(MapElem const* map, std::string_view name)
{
    return map->find(name) || map->hasChild(std::string(name));
}

// Below 0, 0 or above, by unsigned bytes. Most names differ in the first one, which needs no call.
int order(std::string_view left, std::string_view right)
{
    if (!left.empty() && !right.empty() && left[0] != right[0])
        return static_cast<unsigned char>(left[0]) < static_cast<unsigned char>(right[0]) ? -1 : 1;
    return left.compare(right);
}

} // namespace

bool JsonSchemaValidator::validateObject(MapElem* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    return _validateObject(instance, path, schema, _run->scan(schema));
}

bool JsonSchemaValidator::_validateObject(MapElem* instance, Path const& path, MapElem* schema,
                                          unsigned keywords)
{
    bool ok = true;
    if (has(keywords, kRequired))
        ok &= validateRequired(instance, path, schema);
    if (has(keywords, kMinProperties))
        ok &= validateMinProperties(instance, path, schema);
    if (has(keywords, kMaxProperties))
        ok &= validateMaxProperties(instance, path, schema);
    if (has(keywords, kDependencies))
        ok &= validateDependencies(instance, path, schema);
    // Where an object is open by default and the schema says nothing, nobody asks for the names.
    bool const needsNames = has(keywords, kAdditionalProperties) || !_additionalPropertiesDefault;
    Names covered;
    if (has(keywords, kProperties))
        ok &= _validateProperties(instance, path, schema, needsNames ? &covered : nullptr);
    if (has(keywords, kPatternProperties))
        ok &= _validatePatternProperties(instance, path, schema, needsNames ? &covered : nullptr);
    if (needsNames)
        ok &= validateAdditionalProperties(instance, path, schema, covered);
    return ok;
}

bool JsonSchemaValidator::validateRequired(MapElem* instance, Path const& path, MapElem* schema)
{
    ListElem const* const names = asList(_run->child(schema, kRequired));
    if (!names)
        return _refuse(kRequired, path, schema);
    bool ok = true;
    for (Element const* entry : *names) {
        TextOf const name(entry);
        if (!hasChild(instance, name))
            ok = _fail(kRequiredProperty, path, schema, name);
    }
    return ok;
}

bool JsonSchemaValidator::validateMinProperties(MapElem* instance, Path const& path, MapElem* schema)
{
    return _validateMinCount(instance, kMinProperties, kObjectMinProperties, path, schema);
}

bool JsonSchemaValidator::validateMaxProperties(MapElem* instance, Path const& path, MapElem* schema)
{
    return _validateMaxCount(instance, kMaxProperties, kObjectMaxProperties, path, schema);
}

bool JsonSchemaValidator::_validateMinCount(Element* instance, Keyword keyword, char const* message,
                                            Path const& path, MapElem* schema)
{
    Element const* const limit = _run->child(schema, keyword);
    if (kindOf(limit) != Kind::Integer)
        return _refuse(keyword, path, schema);
    return instance->getNumChildren() >= limit->intValue() ||
           _fail(message, path, schema, iToString(limit->intValue()));
}

bool JsonSchemaValidator::_validateMaxCount(Element* instance, Keyword keyword, char const* message,
                                            Path const& path, MapElem* schema)
{
    Element const* const limit = _run->child(schema, keyword);
    if (kindOf(limit) != Kind::Integer)
        return _refuse(keyword, path, schema);
    return instance->getNumChildren() <= limit->intValue() ||
           _fail(message, path, schema, iToString(limit->intValue()));
}

bool JsonSchemaValidator::validateDependencies(MapElem* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    MapElem const* const dependencies = asMap(_run->child(schema, kDependencies));
    if (!dependencies)
        return _refuse(kDependencies, path, schema);
    bool ok = true;
    for (auto const& [name, dependency] : *dependencies)
        if (hasChild(instance, name))
            ok &= _validateDependency(instance, name, dependency, path, schema);
    return ok;
}

bool JsonSchemaValidator::_validateDependency(MapElem* instance, std::string const& name, Element* dependency,
                                              Path const& path, MapElem* schema)
{
    if (MapElem* const map = asMap(dependency)) {
        if (!map->hasChild("additionalProperties"))
            _run->opened.insert(map);
        return validate(instance, path, map);
    }
    ListElem const* const names = asList(dependency);
    if (!names)
        return _fail(kInvalidDependencySchema, path, schema, name);
    if (_hasAll(instance, names))
        return true;
    // The errors point at this schema, so it lives as long as they.
    auto made = std::make_unique<MapElem>();
    Element* const copy = names->clone();
    if (!copy || made->put("required", copy) != OPERATION_OK ||
        made->put("additionalProperties", new BooleanElem(true)) != OPERATION_OK)
        throw std::bad_alloc();
    _tempSchemas.push_back(made.get());
    return validateRequired(instance, path, made.release());
}

bool JsonSchemaValidator::_hasAll(MapElem* instance, ListElem const* names) const
{
    return std::all_of(names->begin(), names->end(),
                       [&](Element const* entry) { return hasChild(instance, TextOf(entry)); });
}

bool JsonSchemaValidator::validateProperties(MapElem* instance, Path const& path, MapElem* schema,
                                             Names& covered)
{
    Use const use(*_run);
    return _validateProperties(instance, path, schema, &covered);
}

bool JsonSchemaValidator::_validateProperties(MapElem* instance, Path const& path, MapElem* schema,
                                              Names* covered)
{
    MapElem const* const properties = asMap(_run->child(schema, kProperties));
    if (!properties)
        return _refuse(kProperties, path, schema);
    bool ok = true;
    auto child = instance->begin();
    auto const end = instance->end();
    for (auto const& [name, property] : *properties) {
        int at = -1;
        while (child != end && (at = order(child->first, name)) < 0)
            ++child;
        if (child == end)
            break;
        if (at > 0)
            continue;
        if (covered)
            covered->push_back(name);
        ok &= validate(child->second, Path(path, name), unchecked(property));
    }
    return ok;
}

bool JsonSchemaValidator::validatePatternProperties(MapElem* instance, Path const& path, MapElem* schema,
                                                    Names& covered)
{
    Use const use(*_run);
    return _validatePatternProperties(instance, path, schema, &covered);
}

bool JsonSchemaValidator::_validatePatternProperties(MapElem* instance, Path const& path, MapElem* schema,
                                                     Names* covered)
{
    MapElem const* const patterns = asMap(_run->child(schema, kPatternProperties));
    if (!patterns)
        return _refuse(kPatternProperties, path, schema);
    bool ok = true;
    for (auto const& [text, property] : *patterns) {
        Pattern const pattern = _run->patterns.get(text);
        if (!pattern.isValid()) {
            ok = _fail(kInvalidPropertyPattern, path, schema, text);
            continue;
        }
        for (auto const& [name, child] : *instance) {
            if (!pattern.isFoundIn(name))
                continue;
            if (covered)
                covered->push_back(name);
            ok &= validate(child, Path(path, name), unchecked(property));
        }
    }
    return ok;
}

bool JsonSchemaValidator::schemaAllowsAdditionalProperties(MapElem* schema, Path const& path)
{
    bool const byDefault = _additionalPropertiesDefault || _run->opened.count(schema) != 0;
    return _allowsAdditional(kAdditionalProperties, byDefault, path, schema);
}

bool JsonSchemaValidator::_allowsAdditional(Keyword keyword, bool byDefault, Path const& path,
                                            MapElem* schema)
{
    Element const* const additional = _run->child(schema, keyword);
    switch (kindOf(additional)) {
    case Kind::Object:
        return true;
    case Kind::Boolean:
        return additional->booleanValue();
    case Kind::NoPointer:
        if (!schema->hasChild(nameOf(keyword)))
            return byDefault;
        [[fallthrough]];
    default:
        _refuse(keyword, path, schema);
        return byDefault;
    }
}

MapElem* JsonSchemaValidator::getAdditionalPropertiesSchema(MapElem* schema)
{
    return asMap(schema->find("additionalProperties"));
}

bool JsonSchemaValidator::validateAdditionalProperties(MapElem* instance, Path const& path, MapElem* schema,
                                                       Names const& covered)
{
    Use const use(*_run);
    bool const isAllowed = schemaAllowsAdditionalProperties(schema, path);
    MapElem* const extra = asMap(_run->child(schema, kAdditionalProperties));
    if (isAllowed && !extra)
        return true;
    Names sorted;
    bool const isSorted = std::is_sorted(covered.begin(), covered.end());
    if (!isSorted) {
        sorted = covered;
        std::sort(sorted.begin(), sorted.end());
    }
    Names const& names = isSorted ? covered : sorted;
    bool ok = true;
    auto next = names.begin();
    for (auto const& [name, child] : *instance) {
        int at = 1;
        while (next != names.end() && (at = order(*next, name)) < 0)
            ++next;
        if (next != names.end() && at == 0)
            continue;
        ok &= isAllowed ? validate(child, Path(path, name), extra)
                        : _fail(kUnexpectedProperty, path, schema, name);
    }
    return ok;
}

} // namespace Tavix
