// References: from their text to a schema, and what happens when following them leads back.

#include "tavix/elements/JsonSchemaRunInternal.h"

#include <algorithm>
#include <cstdlib>

namespace Tavix {

using namespace Schema;

namespace {

bool isReference(std::string_view text)
{
    return !text.empty() && text[0] == '#' && (text.size() == 1 || text[1] == '/');
}

// Calls use(token) for each token behind the "#" of a reference, until one is refused.
template <class Use>
bool eachToken(std::string_view reference, Use use)
{
    for (std::size_t begin = 2; begin <= reference.size();) {
        std::size_t end = begin;
        while (end < reference.size() && reference[end] != '/')
            ++end;
        if (!use(reference.substr(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return true;
}

bool decodePercent(std::string& token)
{
    for (std::size_t at = token.find('%'); at != std::string::npos; at = token.find('%', at + 1)) {
        if (token.size() - at < 3)
            return false;
        char const digits[] = {token[at + 1], token[at + 2], '\0'};
        char* end;
        long const byte = std::strtol(digits, &end, 16);
        if (end != digits + 2)
            return false;
        token.replace(at, 3, 1, static_cast<char>(byte));
    }
    return true;
}

void replaceAll(std::string& token, char const* escape, char character)
{
    for (std::size_t at = token.find(escape); at != std::string::npos; at = token.find(escape, at + 1))
        token.replace(at, 2, 1, character);
}

// What stands behind one token: in a list, by its index. A null child is no place to go on from.
Element* childOf(Element* parent, std::string_view token)
{
    if (std::any_of(token.begin(), token.end(), [](char c) { return c == '%' || c == '~'; })) {
        std::string decoded(token);
        JsonSchemaValidator::decodeJsonPointer(decoded);
        return parent->getChild(decoded);
    }
    if (MapElem* const map = asMap(parent))
        return map->find(token);
    return parent->getChild(std::string(token));
}

} // namespace

void JsonSchemaValidator::decodeJsonPointer(std::string& token)
{
    if (!decodePercent(token))
        return;
    // In this order, so that "~01" is "~1".
    replaceAll(token, "~1", '/');
    replaceAll(token, "~0", '~');
}

std::vector<std::string> JsonSchemaValidator::stringToPath(std::string const& text)
{
    std::vector<std::string> tokens;
    if (!isReference(text))
        return tokens;
    tokens.emplace_back("#");
    eachToken(text, [&](std::string_view token) {
        decodeJsonPointer(tokens.emplace_back(token));
        return true;
    });
    return tokens;
}

std::string JsonSchemaValidator::pathToString(std::vector<std::string> const& tokens)
{
    std::string text;
    if (tokens.empty() || tokens[0] != "#")
        return text;
    text = "#";
    for (std::size_t i = 1; i < tokens.size(); ++i)
        text.append("/").append(tokens[i]);
    return text;
}

bool JsonSchemaValidator::findSchemaReference(std::string const& ref, Path const& path, MapElem*& target)
{
    return _resolve(ref, path, target);
}

bool JsonSchemaValidator::_resolve(std::string_view ref, Path const& path, MapElem*& target)
{
    target = nullptr;
    if (!isReference(ref))
        return false;
    if (ref.size() == 1) {
        target = _schema;
        return true;
    }
    Element* found = untrusted(_schema);
    bool const isThere = found && eachToken(ref, [&](std::string_view token) {
                             found = childOf(found, token);
                             return found != nullptr;
                         });
    target = isThere ? unchecked(found) : nullptr;
    if (kindOf(found) == Kind::Object)
        return true;
    _fail(kBadSchemaReference, path, _schema, ref);
    return target != nullptr;
}

// The schema that "$ref" of `schema` leads to; found once a run when it is a schema.
bool JsonSchemaValidator::_targetOf(MapElem* schema, Path const& path, MapElem*& target)
{
    Run::Resolved& resolved = _run->resolvedFor(schema);
    if (resolved.inRun == _run->number && resolved.schema == schema) {
        target = resolved.target;
        return true;
    }
    if (!_resolve(TextOf(_run->child(schema, kRef)), path, target))
        return false;
    if (kindOf(untrusted(target)) == Kind::Object)
        resolved = {_run->number, schema, target};
    return true;
}

bool JsonSchemaValidator::_follow(Element* instance, Path const& path, MapElem* schema)
{
    MapElem* target;
    if (!_targetOf(schema, path, target))
        return false;
    Run& run = *_run;
    ++run.followed;
    auto const known = run.outcomes.find(Run::Check(instance, target));
    bool isWornOut = false;
    if (known != run.outcomes.end()) {
        Run::Outcome& outcome = known->second;
        if (outcome.passed || outcome.errorAt != Run::kNoError)
            return outcome.passed;
        isWornOut = ++outcome.repeats > kMaxRepeats;
    }
    if (isWornOut || run.isUnderWay(instance, target))
        return _refuseReference(instance, path, schema, target);
    std::size_t const before = run.errorCount(*this);
    bool const passed = validate(instance, path, target);
    if (run.remembers(instance)) {
        std::size_t const after = run.errorCount(*this);
        bool const hasErrors = !passed && after > before;
        run.remember(Run::Check(instance, target), passed, hasErrors ? after - 1 : Run::kNoError);
    }
    return passed;
}

// The one error that stands for what is not worked out again.
bool JsonSchemaValidator::_refuseReference(Element* instance, Path const& path, MapElem* schema,
                                           MapElem* target)
{
    _fail(kBadSchemaReference, path, schema, TextOf(schema->find("$ref")));
    _run->remember(Run::Check(instance, target), false, _run->errorCount(*this) - 1);
    return false;
}

} // namespace Tavix
