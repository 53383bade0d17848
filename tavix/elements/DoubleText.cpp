#include "tavix/elements/DoubleTextInternal.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdlib>

namespace Tavix {

void appendFixed(std::string& out, double value, std::size_t maxLength)
{
    constexpr int kDecimals = 6;
    char digits[400]; // the largest double has 309 digits before the point
    auto const end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, kDecimals).ptr;
    out.append(digits, std::min(static_cast<std::size_t>(end - digits), maxLength));
}

double parseDouble(std::string_view text)
{
    double value = 0;
    char const* const end = text.data() + text.size();
    auto const parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec == std::errc() && parsed.ptr == end)
        return value;
    // Forms that our writers do not use.
    static locale_t const plain = newlocale(LC_NUMERIC_MASK, "C", nullptr);
    std::string const terminated(text);
    return plain ? strtod_l(terminated.c_str(), nullptr, plain) : std::strtod(terminated.c_str(), nullptr);
}

} // namespace Tavix
