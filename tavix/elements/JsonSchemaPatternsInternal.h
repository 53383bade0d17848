#ifndef TAVIX_ELEMENTS_JSONSCHEMAPATTERNSINTERNAL_H
#define TAVIX_ELEMENTS_JSONSCHEMAPATTERNSINTERNAL_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace Tavix {
namespace Schema {

// A compiled regular expression in Perl syntax. Copies share it, and any number of threads may match with it.
class Pattern {
public:
    // A pattern that never refers back to its groups matches faster when they capture nothing.
    enum Groups { kCapture, kOnlyGroup };

    explicit Pattern(std::string_view text, Groups groups = kCapture);

    bool isValid() const;
    // Anywhere in the text, and the whole of it. What the engine throws at its limits passes through.
    bool isFoundIn(std::string_view text) const;
    bool matches(std::string_view text) const;

private:
    struct Compiled;
    std::shared_ptr<Compiled const> _compiled;
};

// The patterns that one validator has met, each compiled once.
class Patterns {
public:
    Pattern get(std::string_view text);

private:
    std::map<std::string, Pattern, std::less<>> _patterns;
};

// The format of that name, null when there is none. Compiled at its first use in the process.
Pattern const* findFormat(std::string_view name);

} // namespace Schema
} // namespace Tavix

#endif
