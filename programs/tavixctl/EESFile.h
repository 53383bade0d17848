#ifndef TAVIX_PROGRAMS_TAVIXCTL_EESFILE_H
#define TAVIX_PROGRAMS_TAVIXCTL_EESFILE_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>

// One message of the wire as a file.

// The value that the message carries: its result, parameters or data, a NullElem when it has none. A message
// that carries no value by its kind gives all of its root. Empty with a reason when the bytes are no message.
SharedPtr<Tavix::Element> valueOfMessage(std::string const& message, std::string& error);

// The message that answers with the value: a response with the message id 0. Lends value. False with a reason
// when no message can carry it.
bool messageOfValue(Tavix::Element* value, std::string& message, std::string& error);

// The bytes of pairs of hexadecimal digits; white space may stand anywhere between pairs. False with a reason.
bool bytesOfHex(std::string const& hex, std::string& bytes, std::string& error);

// Sixteen bytes on a line.
std::string hexOfBytes(std::string const& bytes);

#endif
