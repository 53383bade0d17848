#include "tavix/elements/JsonSchemaPatternsInternal.h"
#include "tavix/elements/JsonSchemaValidator.h"

#include <boost/regex.hpp>
#include <new>

namespace Tavix {

namespace Schema {

namespace {

// A schema that changes between runs must not fill the memory.
constexpr std::size_t kMaxPatterns = 256;

} // namespace

struct Pattern::Compiled {
    explicit Compiled(std::string_view text)
        : regex(text.data(), text.data() + text.size(), boost::regex::perl | boost::regex::no_except)
    {
    }

    boost::regex regex;
};

Pattern::Pattern(std::string_view text) : _compiled(std::make_shared<Compiled const>(text))
{
}

bool Pattern::isValid() const
{
    return _compiled->regex.status() == 0;
}

bool Pattern::isFoundIn(std::string_view text) const
{
    return boost::regex_search(text.data(), text.data() + text.size(), _compiled->regex);
}

bool Pattern::matches(std::string_view text) const
{
    return boost::regex_match(text.data(), text.data() + text.size(), _compiled->regex);
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
