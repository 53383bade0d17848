#ifndef TAVIX_PROGRAMS_TAVIXCTL_READABLETEXT_H
#define TAVIX_PROGRAMS_TAVIXCTL_READABLETEXT_H

#include <string>
#include <string_view>

// A text in a form that stays on its line and does nothing to a terminal, whatever its bytes: bytes that are
// no printable character of UTF-8 are written as \xNN, and so is a backslash in front of an "x", so that no
// two texts have the same form. With keepLayout, tabs and line ends stay what they are.
std::string readableText(std::string_view text, bool keepLayout = false);

#endif
