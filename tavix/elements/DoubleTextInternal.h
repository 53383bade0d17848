#ifndef TAVIX_ELEMENTS_DOUBLETEXTINTERNAL_H
#define TAVIX_ELEMENTS_DOUBLETEXTINTERNAL_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Tavix {

// Doubles as text and back, with a point in every locale.

// Appends the form of "%f", cut behind `maxLength` characters.
void appendFixed(std::string& out, double value, std::size_t maxLength);

// The number at the beginning of the text, as strtod reads it; 0.0 when there is none.
double parseDouble(std::string_view text);

} // namespace Tavix

#endif
