#include "tavix/elements/JsonSchemaRunInternal.h"

#include <charconv>
#include <cstring>
#include <new>

namespace Tavix {

namespace Schema {

namespace {

// `name` has as many characters as `word`: then this is one or two comparisons of integers.
template <std::size_t N>
bool is(std::string_view name, char const (&word)[N])
{
    return std::memcmp(name.data(), word, N - 1) == 0;
}

Keyword keywordOf(std::string_view name)
{
    switch (name.size()) {
    case 3:
        return is(name, "not") ? kNot : kNoKeyword;
    case 4:
        return is(name, "type") ? kType : is(name, "enum") ? kEnum : is(name, "$ref") ? kRef : kNoKeyword;
    case 5:
        return is(name, "allOf")   ? kAllOf
               : is(name, "anyOf") ? kAnyOf
               : is(name, "oneOf") ? kOneOf
               : is(name, "items") ? kItems
                                   : kNoKeyword;
    case 6:
        return is(name, "format") ? kFormat : kNoKeyword;
    case 7:
        return is(name, "minimum")   ? kMinimum
               : is(name, "maximum") ? kMaximum
               : is(name, "pattern") ? kPattern
                                     : kNoKeyword;
    case 8:
        return is(name, "required")   ? kRequired
               : is(name, "minItems") ? kMinItems
               : is(name, "maxItems") ? kMaxItems
                                      : kNoKeyword;
    case 9:
        return is(name, "minLength") ? kMinLength : is(name, "maxLength") ? kMaxLength : kNoKeyword;
    case 10:
        return is(name, "properties") ? kProperties : is(name, "multipleOf") ? kMultipleOf : kNoKeyword;
    case 11:
        return is(name, "uniqueItems") ? kUniqueItems : kNoKeyword;
    case 12:
        return is(name, "dependencies") ? kDependencies : kNoKeyword;
    case 13:
        return is(name, "minProperties")   ? kMinProperties
               : is(name, "maxProperties") ? kMaxProperties
                                           : kNoKeyword;
    case 15:
        return is(name, "additionalItems") ? kAdditionalItems : kNoKeyword;
    case 16:
        return is(name, "exclusiveMinimum")   ? kExclusiveMinimum
               : is(name, "exclusiveMaximum") ? kExclusiveMaximum
                                              : kNoKeyword;
    case 17:
        return is(name, "patternProperties") ? kPatternProperties : kNoKeyword;
    case 20:
        return is(name, "additionalProperties") ? kAdditionalProperties : kNoKeyword;
    default:
        return kNoKeyword;
    }
}

} // namespace

char const* nameOf(Keyword keyword)
{
    static char const* const names[] = {"type",
                                        "enum",
                                        "allOf",
                                        "anyOf",
                                        "oneOf",
                                        "not",
                                        "$ref",
                                        "required",
                                        "minProperties",
                                        "maxProperties",
                                        "dependencies",
                                        "properties",
                                        "patternProperties",
                                        "additionalProperties",
                                        "minItems",
                                        "maxItems",
                                        "items",
                                        "additionalItems",
                                        "uniqueItems",
                                        "minimum",
                                        "maximum",
                                        "exclusiveMinimum",
                                        "exclusiveMaximum",
                                        "multipleOf",
                                        "minLength",
                                        "maxLength",
                                        "pattern",
                                        "format"};
    return names[keyword];
}

Kind kindByName(Element const* e)
{
    static struct {
        std::string name;
        Kind kind;
    } const kinds[] = {
        {NullElem::_type, Kind::Null},       {BooleanElem::_type, Kind::Boolean},
        {IntegerElem::_type, Kind::Integer}, {DoubleElem::_type, Kind::Number},
        {StringElem::_type, Kind::String},   {MapElem::_type, Kind::Object},
        {ListElem::_type, Kind::Array},
    };
    for (auto const& one : kinds)
        if (e->instanceOf(one.name))
            return one.kind;
    return Kind::Unknown;
}

std::string_view typeText(Kind kind)
{
    static constexpr std::string_view texts[] = {"<null>", "null",   "boolean", "integer",  "number",
                                                 "string", "object", "array",   "<unknown>"};
    return texts[static_cast<int>(kind)];
}

std::string numberText(double value)
{
    char text[512]; // the largest double has 309 digits in front of the point
    return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr);
}

} // namespace Schema

using namespace Schema;

unsigned JsonSchemaValidator::Run::scan(MapElem const* schema)
{
    scanned = schema;
    scannedKeywords = 0;
    for (auto const& [name, value] : *schema) {
        Keyword const keyword = keywordOf(name);
        if (keyword == kNoKeyword)
            continue;
        scannedKeywords |= 1U << keyword;
        scannedChildren[keyword] = value;
    }
    return scannedKeywords;
}

bool JsonSchemaValidator::Run::isUnderWay(Element const* instance, MapElem const* schema) const
{
    for (Step const* step = top; step && step->instance == instance; step = step->up)
        if (step->schema == schema)
            return true;
    return false;
}

bool JsonSchemaValidator::Run::remembers(Element const* instance) const
{
    if (followed > Schema::kMaxFollowed)
        return true;
    if (outcomes.empty())
        return false;
    auto const first = outcomes.lower_bound(Check(instance, nullptr));
    return first != outcomes.end() && first->first.first == instance;
}

void JsonSchemaValidator::Run::remember(Check const& check, bool passed, std::size_t errorAt)
{
    Outcome& outcome = outcomes[check];
    outcome.passed = passed;
    outcome.errorAt = errorAt;
    if (errorAt != kNoError)
        failed.push_back(check);
}

// The list is about to be cut there.
void JsonSchemaValidator::Run::forgetErrorsFrom(std::size_t position)
{
    while (!failed.empty()) {
        Outcome& outcome = outcomes[failed.back()];
        if (outcome.errorAt != kNoError && outcome.errorAt < position)
            return;
        outcome.errorAt = kNoError;
        failed.pop_back();
    }
}

void JsonSchemaValidator::Run::finish() noexcept
{
    for (MapElem const* schema : opened)
        if (Element* const open = new (std::nothrow) BooleanElem(true))
            const_cast<MapElem*>(schema)->put("additionalProperties", open);
    opened.clear();
    outcomes.clear();
    failed.clear();
    followed = 0;
    tentative.clear();
    text.clear();
    scanned = nullptr;
    ++number;
}

JsonSchemaValidator::Tentatively::Tentatively(JsonSchemaValidator& validator)
    : _validator(validator), _use(*validator._run), _from(validator._run->tentative.size())
{
    ++validator._run->combiners;
}

JsonSchemaValidator::Tentatively::~Tentatively()
{
    if (!_isUnderWay)
        return;
    try {
        end(false);
    } catch (std::bad_alloc const&) {
        // The exception under way says enough.
    }
}

bool JsonSchemaValidator::Tentatively::end(bool passed)
{
    _isUnderWay = false;
    if (--_validator._run->combiners == 0)
        _enterInList();
    return passed;
}

void JsonSchemaValidator::Tentatively::_enterInList()
{
    Run& run = *_validator._run;
    std::string_view const text = run.text;
    for (Run::Tentative const& one : run.tentative)
        _validator._errors.emplace_back(std::string(text.substr(one.messageAt, one.pathAt - one.messageAt)),
                                        std::string(text.substr(one.pathAt, one.end - one.pathAt)),
                                        one.schema);
    run.tentative.clear();
    run.text.clear();
}

void JsonSchemaValidator::Tentatively::rollBack()
{
    Run& run = *_validator._run;
    if (run.tentative.size() == _from)
        return;
    run.forgetErrorsFrom(_validator._errors.size() + _from);
    run.text.resize(run.tentative[_from].messageAt);
    run.tentative.resize(_from);
}

} // namespace Tavix
