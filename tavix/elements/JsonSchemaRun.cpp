#include "tavix/elements/JsonSchemaRunInternal.h"

#include <charconv>
#include <cstring>
#include <new>

namespace Tavix {

namespace Schema {

namespace {

// `name` has as many characters as `word`: then this is one or two comparisons of integers.
template <std::size_t N>
unsigned bitIf(std::string_view name, char const (&word)[N], Keyword bit)
{
    return std::memcmp(name.data(), word, N - 1) == 0 ? bit : 0U;
}

unsigned keywordOf(std::string_view name)
{
    switch (name.size()) {
    case 3:
        return bitIf(name, "not", kNot);
    case 4:
        return bitIf(name, "type", kType) | bitIf(name, "$ref", kRef) | bitIf(name, "enum", kEnum);
    case 5:
        return bitIf(name, "items", kItems) | bitIf(name, "allOf", kAllOf) | bitIf(name, "anyOf", kAnyOf) |
               bitIf(name, "oneOf", kOneOf);
    case 6:
        return bitIf(name, "format", kFormat);
    case 7:
        return bitIf(name, "pattern", kPattern) | bitIf(name, "minimum", kMinimum) |
               bitIf(name, "maximum", kMaximum);
    case 8:
        return bitIf(name, "required", kRequired) | bitIf(name, "minItems", kMinItems) |
               bitIf(name, "maxItems", kMaxItems);
    case 9:
        return bitIf(name, "minLength", kMinLength) | bitIf(name, "maxLength", kMaxLength);
    case 10:
        return bitIf(name, "properties", kProperties) | bitIf(name, "multipleOf", kMultipleOf);
    case 11:
        return bitIf(name, "uniqueItems", kUniqueItems);
    case 12:
        return bitIf(name, "dependencies", kDependencies);
    case 13:
        return bitIf(name, "minProperties", kMinProperties) | bitIf(name, "maxProperties", kMaxProperties);
    case 17:
        return bitIf(name, "patternProperties", kPatternProperties);
    case 20:
        return bitIf(name, "additionalProperties", kAdditionalProperties);
    default:
        return 0;
    }
}

} // namespace

unsigned keywordsOf(MapElem const* schema)
{
    unsigned keywords = 0;
    for (auto const& entry : *schema)
        keywords |= keywordOf(entry.first);
    return keywords;
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

char const* typeText(Kind kind)
{
    static char const* const texts[] = {"<null>", "null",   "boolean", "integer",  "number",
                                        "string", "object", "array",   "<unknown>"};
    return texts[static_cast<int>(kind)];
}

std::string numberText(double value)
{
    char text[512]; // the largest double has 309 digits in front of the point
    return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr);
}

} // namespace Schema

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
    outcomes[check] = Outcome{passed, errorAt};
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
}

JsonSchemaValidator::Tentatively::Tentatively(JsonSchemaValidator& validator)
    : _validator(validator), _from(validator._run->tentative.size())
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
        _validator._run->tentative.clear();
        _validator._run->text.clear();
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
