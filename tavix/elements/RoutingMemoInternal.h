#ifndef TAVIX_ELEMENTS_ROUTINGMEMOINTERNAL_H
#define TAVIX_ELEMENTS_ROUTINGMEMOINTERNAL_H

#include "tavix/elements/EESPeekParser.h"

namespace Tavix {

// Reads routing fields, and remembers those of a call or an event: the next message of a stream has the same bytes
// up to its value. What EESPeekParser reads before the value depends on these bytes and the root's number of nodes
// alone, and where the value is the last node nothing is read behind it. For one thread at a time.
class RoutingMemo {
public:
    // As EESPeekParser::readRoutingFields at kParsePosition, with the same result for every block. The answer is the
    // same number for messages with the same bytes before the value, as far as they are remembered, else 0.
    unsigned readRoutingFields(unsigned char const* data, unsigned length, RoutingFields& fields,
                               bool quiet = false);

private:
    using Text = std::optional<std::string_view> RoutingFields::*;
    struct Remembered {
        Text field;
        unsigned position;
        unsigned length;
    };

    static constexpr unsigned kMaxPrefix = 256;
    static constexpr unsigned kTexts = 7;

    // In EESPeekParser.cpp. The whole run: true when the value is there, in the last place, behind strings only.
    static bool readWhole(unsigned char const* data, unsigned length, RoutingFields& fields, bool quiet);
    // The text of the value at fields.valuePosition.
    static std::string_view readValue(unsigned char const* data, unsigned length, RoutingFields& fields,
                                      bool quiet);

    bool isRemembered(unsigned char const* data, unsigned length) const;
    void remember(unsigned char const* data, RoutingFields const& fields);

    unsigned _valuePosition = 0; // 0: nothing is remembered
    unsigned _misses = 0;        // in a row
    unsigned _number = 0;        // of what is remembered
    Text _value = nullptr;
    unsigned _textCount = 0;
    Remembered _texts[kTexts];
    unsigned char _rootHead[4];
    unsigned char _prefix[kMaxPrefix];
};

} // namespace Tavix

#endif
