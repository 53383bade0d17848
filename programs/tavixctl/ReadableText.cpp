#include "tavixctl/ReadableText.h"

#include <glib.h>

namespace {

// The length of the printable character at the begin of a text that is not empty; 0 when there is none.
size_t printableLength(std::string_view text)
{
    const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    const bool valid = character != static_cast<gunichar>(-1) && character != static_cast<gunichar>(-2);
    if (!valid || !g_unichar_isprint(character))
        return 0;
    return static_cast<size_t>(g_unichar_to_utf8(character, nullptr));
}

} // namespace

std::string readableText(std::string_view text, bool keepLayout)
{
    char const digits[] = "0123456789abcdef";
    std::string readable;
    while (!text.empty()) {
        const bool layout = keepLayout && (text[0] == '\n' || text[0] == '\t');
        const bool ambiguous = text.substr(0, 2) == "\\x";
        const size_t plain = layout ? 1 : ambiguous ? 0 : printableLength(text);
        if (plain > 0) {
            readable += text.substr(0, plain);
            text.remove_prefix(plain);
            continue;
        }
        const auto byte = static_cast<unsigned char>(text[0]);
        (readable += "\\x") += {digits[byte >> 4], digits[byte & 15]};
        text.remove_prefix(1);
    }
    return readable;
}
