#ifndef TAVIX_PROGRAMS_TAVIXCTL_JSONARGUMENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_JSONARGUMENT_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>

// Reads a value tree from JSON text; "-" stands for the text on standard input. Empty with an error in words
// when it cannot be read, with line and column where the text is to blame.
SharedPtr<Tavix::Element> readJsonArgument(std::string const& text, std::string& error);

#endif
