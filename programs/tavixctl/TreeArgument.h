#ifndef TAVIX_PROGRAMS_TAVIXCTL_TREEARGUMENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_TREEARGUMENT_H

#include "tavixctl/TreeForm.h"

#include <string>

// The value that stands on the command line as `text`; "-" is standard input. Empty with a whole sentence in
// `error` when there is none, or when a message would cut it.
SharedPtr<Tavix::Element> readArgument(TreeForm form, std::string const& text, std::string& error);

// The value of a file; "-" is standard input. The sentence begins with the name of the file.
SharedPtr<Tavix::Element> readFile(TreeForm form, std::string const& path, std::string& error);

// The same for a file of JSON or XML, which its first character tells apart.
SharedPtr<Tavix::Element> readTextFile(std::string const& path, std::string& error);

#endif
