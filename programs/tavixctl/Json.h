#ifndef TAVIX_PROGRAMS_TAVIXCTL_JSON_H
#define TAVIX_PROGRAMS_TAVIXCTL_JSON_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/InputStream.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>

// The value as JSON on one line, without a line end. It is valid whatever the value holds, and exact: doubles
// have as many digits as it takes, control characters are escaped. What JSON cannot express: bytes become a
// text in base64, an exception an object with "exceptionstring" and "exceptioninteger"; a double that is no
// number and an open descriptor become null; bytes of a text that are no UTF-8 become U+FFFD. Lends value,
// null is null.
std::string jsonText(Tavix::Element* value);

// The quoted form of a text, as above.
std::string jsonText(std::string const& text);

// Reads one JSON text. Empty without one, with a reason, and line and column where the text is to blame, in
// `error`. An integer beyond 32 bits is refused.
SharedPtr<Tavix::Element> readJson(Ferrule::InputStream& input, std::string& error);

// One JSON object on one line, its members in the order in which they are added.
class JsonLine {
public:
    JsonLine& add(char const* key, std::string const& text) { return addJson(key, jsonText(text)); }
    JsonLine& add(char const* key, Tavix::Element* value) { return addJson(key, jsonText(value)); }

    // The line with its end. At least one member has been added.
    std::string text() const { return _text + "}\n"; }

private:
    JsonLine& addJson(char const* key, std::string const& json);

    std::string _text;
};

#endif
