#ifndef TAVIX_FOUNDATION_DESERIALIZER_H
#define TAVIX_FOUNDATION_DESERIALIZER_H

#include <tavix/foundation/Export.h>
#include <tavix/foundation/InputStream.h>
#include <tavix/foundation/WeakPtr.h>

#include <cstdint>

namespace Ferrule {

// Reads a text form of values and tells a handler what it meets, in the order of the text.
class TAVIX_API Deserializer {
public:
    // Receives the events of one parse, all on the thread that parses. `source` is who calls. `name` is the
    // key of a value directly inside an object, and null elsewhere. Names and texts are lent for the call.
    class TAVIX_API Handler {
    public:
        virtual ~Handler();

        // Forgets what was received and any error. Whoever starts a parse calls this first; parse() does not.
        virtual void reset() = 0;

        virtual void onInteger(WeakPtr<Deserializer> source, char const* name, int value) = 0;
        virtual void onInteger64(WeakPtr<Deserializer> source, char const* name, std::int64_t value) = 0;
        virtual void onDouble(WeakPtr<Deserializer> source, char const* name, double value) = 0;
        virtual void onString(WeakPtr<Deserializer> source, char const* name, char const* value) = 0;
        virtual void onBoolean(WeakPtr<Deserializer> source, char const* name, bool value) = 0;
        virtual void onNull(WeakPtr<Deserializer> source, char const* name) = 0;
        virtual void arrayStart(WeakPtr<Deserializer> source, char const* name) = 0;
        virtual void arrayEnd(WeakPtr<Deserializer> source) = 0;
        virtual void objectStart(WeakPtr<Deserializer> source, char const* name) = 0;
        virtual void objectEnd(WeakPtr<Deserializer> source) = 0;

        // Lends what keeps this handler from building the document, until reset(); null when all is well. It
        // is asked after each event, and ends the parse as a failure.
        virtual char const* getErrorString() const;
    };

    virtual ~Deserializer();

    // Reads `input` to its end and calls `handler`. Answers 0 on success. Events may have gone out before a
    // failure.
    virtual int parse(WeakPtr<InputStream> input, WeakPtr<Handler> handler) = 0;

    // Lends the text of the last parse's failure until the next parse; null when there was none.
    virtual char const* getErrorString() const = 0;
};

} // namespace Ferrule

#endif
