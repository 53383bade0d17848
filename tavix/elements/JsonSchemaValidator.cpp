// The frame: a run, a step of the recursion, the list of errors. The keywords stand in the other JsonSchema files, one
// group in each.

#include "tavix/elements/JsonSchemaValidator.h"

#include "tavix/elements/JsonSchemaRunInternal.h"

#include <charconv>
#include <utility>

namespace Tavix {

using namespace Schema;

JsonSchemaValidator::Error::Error(std::string what, std::string where, MapElem* failed)
    : message(std::move(what)), path(std::move(where)), schema(failed)
{
}

bool JsonSchemaValidator::Error::operator<(Error const& other) const
{
    int const order = path.compare(other.path);
    return order != 0 ? order < 0 : message < other.message;
}

std::string JsonSchemaValidator::Path::text() const
{
    std::string text;
    appendTo(text);
    return text;
}

void JsonSchemaValidator::Path::appendTo(std::string& text) const
{
    if (_parent) {
        _parent->appendTo(text);
        text += '/';
    }
    if (_index < 0) {
        text += _name;
        return;
    }
    char digits[12];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, _index).ptr);
}

JsonSchemaValidator::JsonSchemaValidator(MapElem* schema, bool additionalPropertiesDefault,
                                         bool additionalItemsDefault)
    : _schema(schema), _additionalPropertiesDefault(additionalPropertiesDefault),
      _additionalItemsDefault(additionalItemsDefault), _run(new Run)
{
}

JsonSchemaValidator::~JsonSchemaValidator()
{
    deleteTempSchemas();
}

void JsonSchemaValidator::deleteTempSchemas()
{
    while (!_tempSchemas.empty()) {
        delete _tempSchemas.back();
        _tempSchemas.pop_back();
    }
}

bool JsonSchemaValidator::validate(Element* instance, std::string const& schemaRef)
{
    _errors.clear();
    deleteTempSchemas();
    Path const path("#");
    MapElem* target;
    if (findSchemaReference(schemaRef, path, target))
        validate(instance, path, target);
    return _errors.empty();
}

bool JsonSchemaValidator::validate(Element* instance, Path const& path, MapElem* schema)
{
    Kind const kind = kindOf(instance);
    if (kind == Kind::NoPointer)
        return _fail(kInvalidInstance, path, schema, "invalid instance pointer");
    if (kindOf(untrusted(schema)) != Kind::Object)
        return _fail(kInvalidSchema, path, schema, "invalid schema instance");
    Step const step(*_run, instance, schema);
    unsigned const keywords = _run->scan(schema);
    if (!_checkDepth(step, path))
        return false;
    bool const ok = _validateAny(instance, path, schema, keywords);
    switch (kind) {
    case Kind::Object:
        return _validateObject(static_cast<MapElem*>(instance), path, schema, keywords) && ok;
    case Kind::Array:
        return _validateArray(static_cast<ListElem*>(instance), path, schema, keywords) && ok;
    case Kind::String:
        return _validateString(static_cast<StringElem*>(instance), path, schema, keywords) && ok;
    case Kind::Integer:
    case Kind::Number:
        return _validateNumber(instance, path, schema, keywords) && ok;
    default:
        return ok;
    }
}

bool JsonSchemaValidator::_checkDepth(Step const& step, Path const& path)
{
    if (path.level() > kMaxNesting)
        return _failDepth(kInvalidInstance, path, step.schema, kMaxNesting);
    if (step.chain > kMaxNesting)
        return _failDepth(kInvalidSchema, path, step.schema, kMaxNesting);
    return step.depth <= kMaxSteps || _failDepth(kInvalidSchema, path, step.schema, kMaxSteps);
}

bool JsonSchemaValidator::_failDepth(char const* message, Path const& path, MapElem* schema, unsigned levels)
{
    return _fail(message, path, schema, "nested deeper than " + std::to_string(levels) + " levels");
}

bool JsonSchemaValidator::validateAny(Element* instance, Path const& path, MapElem* schema)
{
    Use const use(*_run);
    return _validateAny(instance, path, schema, _run->scan(schema));
}

bool JsonSchemaValidator::_validateAny(Element* instance, Path const& path, MapElem* schema,
                                       unsigned keywords)
{
    bool ok = true;
    if (has(keywords, kType))
        ok &= validateSchemaType(instance, path, schema);
    if (has(keywords, kEnum))
        ok &= validateEnum(instance, path, schema);
    if (has(keywords, kAllOf))
        ok &= validateAllOf(instance, path, schema);
    if (has(keywords, kAnyOf))
        ok &= validateAnyOf(instance, path, schema);
    if (has(keywords, kOneOf))
        ok &= validateOneOf(instance, path, schema);
    if (has(keywords, kNot))
        ok &= validateNot(instance, path, schema);
    if (has(keywords, kRef))
        ok &= _follow(instance, path, schema);
    return ok;
}

std::string JsonSchemaValidator::getJsonSchemaType(Element* instance)
{
    return std::string(typeText(kindOf(instance)));
}

std::string JsonSchemaValidator::getJsonSchemaType(Element* instance, Path const& path, MapElem* schema)
{
    Kind const kind = kindOf(instance);
    _reportKind(kind, instance, path, schema);
    return std::string(typeText(kind));
}

void JsonSchemaValidator::_reportKind(Kind kind, Element* instance, Path const& path, MapElem* schema)
{
    if (kind == Kind::Unknown)
        _fail(kUnknownType, path, schema, instance->toString());
    else if (kind == Kind::NoPointer)
        _fail(kInvalidInstance, path, schema, "invalid instance pointer");
}

namespace {

// The arguments come in as text; %s, %d and %f only say where they go.
void appendMessage(std::string& text, std::string_view message, std::string_view first,
                   std::string_view second)
{
    std::string_view const* argument = &first;
    for (std::size_t at; (at = message.find('%')) != std::string_view::npos; argument = &second) {
        text.append(message.substr(0, at)).append(*argument);
        message.remove_prefix(at + 2);
    }
    text += message;
}

} // namespace

bool JsonSchemaValidator::_fail(char const* message, Path const& path, MapElem* schema,
                                std::string_view first, std::string_view second)
{
    Run& run = *_run;
    if (run.combiners == 0) {
        std::string text;
        appendMessage(text, message, first, second);
        _errors.emplace_back(std::move(text), path.text(), schema);
        return false;
    }
    std::size_t const messageAt = run.text.size();
    appendMessage(run.text, message, first, second);
    std::size_t const pathAt = run.text.size();
    path.appendTo(run.text);
    run.tentative.push_back(Run::Tentative{messageAt, pathAt, run.text.size(), schema});
    return false;
}

bool JsonSchemaValidator::_refuse(Keyword keyword, Path const& path, MapElem* schema)
{
    return _fail(kInvalidSchema, path, schema, std::string("invalid ") + nameOf(keyword));
}

void JsonSchemaValidator::addError(std::string const& message, Path const& path, MapElem* schema)
{
    _fail("%s", path, schema, message);
}

} // namespace Tavix
