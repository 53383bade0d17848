#ifndef TAVIX_FOUNDATION_JSONDESERIALIZER_H
#define TAVIX_FOUNDATION_JSONDESERIALIZER_H

#include <tavix/foundation/Deserializer.h>
#include <tavix/foundation/Export.h>

#include <string>

namespace json {

// Reads one JSON text (RFC 8259, UTF-8) of any nesting. An integer goes to onInteger when it fits in 32 bits,
// to onInteger64 when it fits in 64, each signed; other numbers go to onDouble. A number beyond the range of
// a double is an error, and so is a text or a key that holds a zero character, which a C string could only
// cut off silently.
class TAVIX_API JsonDeserializer : public Ferrule::Deserializer {
public:
    // The answers of parse(), which throws nothing.
    enum Result {
        kOk = 0,
        kFailed = 1,
        kNoValue = 2, // failed too: the input was empty, or held nothing but white space
    };

    JsonDeserializer();
    ~JsonDeserializer() override;

    int parse(WeakPtr<Ferrule::InputStream> input, WeakPtr<Handler> handler) override;

    // As "line 3, column 14: " and the reason. Both count from 1; the column counts bytes, and is where
    // reading stopped, which may be the end of the word that was wrong.
    char const* getErrorString() const override;

private:
    std::string _error;
};

} // namespace json

#endif
