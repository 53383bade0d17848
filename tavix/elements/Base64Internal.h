#ifndef TAVIX_ELEMENTS_BASE64INTERNAL_H
#define TAVIX_ELEMENTS_BASE64INTERNAL_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Tavix {

// Base64 as of RFC 4648, section 4.

// Appends the form with padding and without line ends.
void appendBase64(std::string& out, unsigned char const* data, std::size_t length);

// Writes at most text.size() / 4 * 3 bytes to `out` and answers how many. Characters outside the alphabet are
// skipped, a group with padding ends the text, and a last group of fewer than four characters is dropped.
std::size_t decodeBase64(std::string_view text, unsigned char* out);

} // namespace Tavix

#endif
