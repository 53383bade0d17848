#include "tavix/elements/JsonSchemaPatternsInternal.h"
#include "tavix/elements/JsonSchemaValidator.h"

#include <algorithm>
#include <boost/regex.hpp>
#include <cstddef>
#include <iterator>

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

// Whether any match exists is all that is asked. The engine finds that with less memory when match_any tells it,
// which makes repeats lazy; but a look-ahead and its like would leave other groups behind then, for a later "\1".
boost::match_flag_type flagsFor(std::string_view pattern)
{
    for (std::size_t at = 0; (at = pattern.find("(?", at)) != std::string_view::npos; at += 2)
        if (pattern.substr(at, 3) != "(?:")
            return boost::match_default;
    return boost::match_default | boost::match_any;
}

// "^" matches behind each end of a line too.
bool isOneLine(std::string_view text)
{
    return std::none_of(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\f'; });
}

// What one match may cost, in steps along the text: the engine's own estimate of what it needs, and never more than
// its highest limit. Its limit alone counts states, one of which may compare the whole text, and its estimate
// has no ceiling.
long stepsFor(boost::regex const& regex, std::string_view text)
{
    constexpr double kLeast = 100000;
    constexpr double kMost = BOOST_REGEX_MAX_STATE_COUNT;
    double const length = static_cast<double>(text.size());
    double const states = static_cast<double>(regex.size());
    return static_cast<long>(std::min(kLeast + length * std::max(length, states * states), kMost));
}

// A place in a text, for the engine. It counts the steps, and as it is no random access iterator the engine keeps to
// its highest limit of states.
class Position {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    Position() = default;
    Position(char const* at, long& steps) : _at(at), _steps(&steps) {}

    char const& operator*() const { return *_at; }
    Position& operator++()
    {
        if (--*_steps < 0)
            throw boost::regex_error(boost::regex_constants::error_complexity);
        ++_at;
        return *this;
    }
    Position operator++(int)
    {
        Position const before = *this;
        ++*this;
        return before;
    }
    Position& operator--()
    {
        --_at;
        return *this;
    }
    Position operator--(int)
    {
        Position const before = *this;
        --_at;
        return before;
    }
    bool operator==(Position const& other) const { return _at == other._at; }
    bool operator!=(Position const& other) const { return _at != other._at; }

private:
    char const* _at = nullptr;
    long* _steps = nullptr;
};

// Lets the engine look at a text, as regex_search or regex_match do.
template <class Engine>
bool ask(std::string_view text, boost::regex const& regex, boost::match_flag_type flags, Engine engine)
{
    // Where the engine notes what the groups have matched. Nobody asks for that, but it wants a place.
    static thread_local boost::match_results<Position> results;
    long steps = stepsFor(regex, text);
    return engine(Position(text.data(), steps), Position(text.data() + text.size(), steps), results, regex,
                  flags);
}

} // namespace

struct Pattern::Compiled {
    Compiled(std::string_view text, boost::regex::flag_type options)
        : regex(text.data(), text.data() + text.size(),
                boost::regex::perl | boost::regex::no_except | options),
          flags(flagsFor(text)), beginning(beginningOf(text))
    {
    }

    boost::regex regex;
    boost::match_flag_type flags;
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

bool Pattern::isFoundIn(std::string_view text) const
{
    std::string const& beginning = _compiled->beginning;
    if (!beginning.empty() && isOneLine(text))
        return text.substr(0, beginning.size()) == beginning;
    return ask(text, _compiled->regex, _compiled->flags,
               [](auto&&... all) { return boost::regex_search(all...); });
}

bool Pattern::matches(std::string_view text) const
{
    return ask(text, _compiled->regex, _compiled->flags,
               [](auto&&... all) { return boost::regex_match(all...); });
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
