#include "tavix/elements/Base64Internal.h"

#include <array>
#include <glib.h>

namespace Tavix {

namespace {

constexpr unsigned char kNoDigit = 0xFF;

constexpr std::array<unsigned char, 256> makeDigits()
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<unsigned char, 256> digits{};
    for (unsigned char& digit : digits)
        digit = kNoDigit;
    for (unsigned char value = 0; value < 64; ++value)
        digits[static_cast<unsigned char>(kAlphabet[value])] = value;
    digits['='] = 0; // padding stands for a digit
    return digits;
}

constexpr std::array<unsigned char, 256> kDigits = makeDigits();

} // namespace

void appendBase64(std::string& out, unsigned char const* data, std::size_t length)
{
    if (length == 0)
        return;
    std::size_t const before = out.size();
    out.resize(before + (length / 3 + 1) * 4 + 4); // what GLib asks for
    gint state = 0;
    gint save = 0;
    gchar* const begin = &out[before];
    gsize written = g_base64_encode_step(data, length, FALSE, begin, &state, &save);
    written += g_base64_encode_close(FALSE, begin + written, &state, &save);
    out.resize(before + written);
}

std::size_t decodeBase64(std::string_view text, unsigned char* out)
{
    unsigned char const* const begin = out;
    unsigned group = 0;
    int characters = 0;
    int padding = 0;
    for (char const c : text) {
        unsigned const digit = kDigits[static_cast<unsigned char>(c)];
        if (digit == kNoDigit)
            continue;
        group = group << 6 | digit;
        padding += c == '=' ? 1 : 0;
        if (++characters < 4)
            continue;
        for (int byte = 0; byte < 3 - padding; ++byte)
            *out++ = static_cast<unsigned char>(group >> (16 - 8 * byte));
        if (padding > 0)
            break;
        characters = 0;
        group = 0;
    }
    return static_cast<std::size_t>(out - begin);
}

} // namespace Tavix
