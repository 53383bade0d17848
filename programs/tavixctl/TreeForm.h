#ifndef TAVIX_PROGRAMS_TAVIXCTL_TREEFORM_H
#define TAVIX_PROGRAMS_TAVIXCTL_TREEFORM_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/InputStream.h>
#include <tavix/foundation/SharedPtr.h>

#include <map>
#include <string>

// The forms in which the tool reads and writes value trees.
enum class TreeForm {
    kJson,
    kXml,
    kEes,  // the value of one message, as it stands on the wire
    kHex,  // the same in hexadecimal digits
    kText, // for people: one line per node; cannot be read
};

// As they are called on the command line.
extern std::map<std::string, TreeForm> const kTreeForms;

// For messages: "JSON", "XML" ...
char const* nameOf(TreeForm form);

// Reads one value in any form but kText. Empty without one; `error` says why, and where if the form can tell:
// "line 3, column 14: reason".
SharedPtr<Tavix::Element> readTree(TreeForm form, Ferrule::InputStream& input, std::string& error);

// Reads all that a stream still has. False with a reason when that is more than kMaxFileBytes.
bool readAll(Ferrule::InputStream& input, std::string& all, std::string& error);
constexpr std::size_t kMaxFileBytes = std::size_t(256) << 20;

// Writes the value, with a line end behind every form but kEes. Lends value, null is null. False with a reason
// when the form cannot hold the value: nothing is lost but what "convert --help" tells.
bool writeTree(TreeForm form, Tavix::Element* value, std::string& out, std::string& error);

#endif
