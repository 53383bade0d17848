#include "tavix/elements/JsonSchemaPatternsInternal.h"
#include "tavix/elements/JsonSchemaValidator.h"

#include <algorithm>
#include <boost/regex.hpp>
#include <new>

namespace Tavix {

namespace Schema {

namespace {

// A schema that changes between runs must not fill the memory.
constexpr std::size_t kMaxPatterns = 256;

// The keys of "patternProperties" are often of this kind, and asked for every name.
std::string_view beginningOf(std::string_view pattern)
{
    auto const isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '-' || c == '/';
    };
    if (pattern.empty() || pattern[0] != '^' || !std::all_of(pattern.begin() + 1, pattern.end(), isPlain))
        return {};
    return pattern.substr(1);
}

// "^" matches behind each end of a line too.
bool isOneLine(std::string_view text)
{
    return std::none_of(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\f'; });
}

// Where the engine notes what the groups have matched. Nobody asks for that, but it wants a place.
boost::cmatch& scratch()
{
    static thread_local boost::cmatch results;
    return results;
}

} // namespace

struct Pattern::Compiled {
    Compiled(std::string_view text, boost::regex::flag_type flags)
        : regex(text.data(), text.data() + text.size(), boost::regex::perl | boost::regex::no_except | flags),
          beginning(beginningOf(text))
    {
    }

    boost::regex regex;
    // Of a pattern that is "^" and plain characters: those. Empty otherwise.
    std::string beginning;
};

Pattern::Pattern(std::string_view text, Groups groups)
    : _compiled(std::make_shared<Compiled const>(text, groups == kCapture ? 0 : boost::regex::nosubs))
{
}

bool Pattern::isValid() const
{
    return _compiled->regex.status() == 0;
}

// Whether any match exists is all that is asked, which match_any tells the engine.
bool Pattern::isFoundIn(std::string_view text) const
{
    std::string const& beginning = _compiled->beginning;
    if (!beginning.empty() && isOneLine(text))
        return text.substr(0, beginning.size()) == beginning;
    return boost::regex_search(text.data(), text.data() + text.size(), scratch(), _compiled->regex,
                               boost::match_default | boost::match_any);
}

bool Pattern::matches(std::string_view text) const
{
    return boost::regex_match(text.data(), text.data() + text.size(), scratch(), _compiled->regex,
                              boost::match_default | boost::match_any);
}

Pattern Patterns::get(std::string_view text)
{
    auto const known = _patterns.find(text);
    if (known != _patterns.end())
        return known->second;
    if (_patterns.size() == kMaxPatterns)
        _patterns.clear();
    return _patterns.emplace(text, Pattern(text)).first->second;
}

} // namespace Schema

char const* errorToStr(int code)
{
    switch (code) {
#define TAVIX_NAME(error)                                                                                    \
    case boost::regex_constants::error:                                                                      \
        return #error;
        TAVIX_NAME(error_bad_pattern)
        TAVIX_NAME(error_collate)
        TAVIX_NAME(error_ctype)
        TAVIX_NAME(error_escape)
        TAVIX_NAME(error_backref)
        TAVIX_NAME(error_brack)
        TAVIX_NAME(error_paren)
        TAVIX_NAME(error_brace)
        TAVIX_NAME(error_badbrace)
        TAVIX_NAME(error_range)
        TAVIX_NAME(error_space)
        TAVIX_NAME(error_badrepeat)
        TAVIX_NAME(error_complexity)
        TAVIX_NAME(error_stack)
#undef TAVIX_NAME
    default:
        return "unknown";
    }
}

} // namespace Tavix
