#ifndef TAVIX_ELEMENTS_ELEMENTTEXT_H
#define TAVIX_ELEMENTS_ELEMENTTEXT_H

#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

// The decimal form.
TAVIX_API std::string iToString(int value);

// Six decimals, with a point in every locale.
TAVIX_API std::string fToString(float value);

// The decimal number at the beginning of `text`, behind white space; 0 when there is none.
TAVIX_API int StringToi(std::string const& text);

// Writes the bytes in hexadecimal to standard output, 16 in a line.
TAVIX_API void printHexBuffer(unsigned char const* data, int length);

} // namespace Tavix

#endif
