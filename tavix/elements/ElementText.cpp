#include "tavix/elements/ElementText.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace Tavix {

std::string iToString(int value)
{
    char text[12];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::string fToString(float value)
{
    // printf would take the decimal point from the locale.
    char text[128];
    char* end =
        std::to_chars(text, text + sizeof text, static_cast<double>(value), std::chars_format::fixed, 6).ptr;
    return std::string(text, end);
}

int StringToi(std::string const& text)
{
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

void printHexBuffer(unsigned char const* data, int length)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr int kBytesInLine = 16;
    char line[kBytesInLine * 3 + 1];
    char* at = line;
    for (int i = 0; i < length; ++i) {
        *at++ = kDigits[data[i] >> 4];
        *at++ = kDigits[data[i] & 15];
        *at++ = ' ';
        if (i % kBytesInLine == kBytesInLine - 1) {
            *at++ = '\n';
            std::fwrite(line, 1, static_cast<std::size_t>(at - line), stdout);
            at = line;
        }
    }
    *at++ = '\n';
    std::fwrite(line, 1, static_cast<std::size_t>(at - line), stdout);
}

} // namespace Tavix
