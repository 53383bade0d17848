#include "tavix/elements/EESFormat.h"
#include "tavix/elements/RoutingMemoInternal.h"

#include <cstring>

namespace Tavix {

namespace {

constexpr unsigned kEntries = kParsePosition + kContainerHeadLength;

} // namespace

unsigned RoutingMemo::readRoutingFields(unsigned char const* data, unsigned length, RoutingFields& fields,
                                        bool quiet)
{
    if (isRemembered(data, length)) {
        char const* const texts = reinterpret_cast<char const*>(data);
        for (unsigned i = 0; i < _textCount; ++i)
            (fields.*_texts[i].field).emplace(texts + _texts[i].position, _texts[i].length);
        fields.valuePosition = _valuePosition;
        fields.*_value = readValue(data, length, fields, quiet);
        _misses = 0;
        return _number;
    }
    // A mixture of streams pays for one copy in four messages.
    if (readWhole(data, length, fields, quiet) && _misses++ % 4 == 0)
        remember(data, fields);
    return 0;
}

// The length in the root's head is not looked at by the peek either.
bool RoutingMemo::isRemembered(unsigned char const* data, unsigned length) const
{
    return _valuePosition != 0 && length >= _valuePosition &&
           std::memcmp(data + kParsePosition, _rootHead, sizeof _rootHead) == 0 &&
           std::memcmp(data + kEntries, _prefix, _valuePosition - kEntries) == 0;
}

void RoutingMemo::remember(unsigned char const* data, RoutingFields const& fields)
{
    static constexpr Text kNames[kTexts] = {
        &RoutingFields::messageType, &RoutingFields::systemRule, &RoutingFields::objName,
        &RoutingFields::method,      &RoutingFields::identity,   &RoutingFields::event,
        &RoutingFields::result,
    };
    unsigned const length = fields.valuePosition - kEntries;
    if (length > kMaxPrefix)
        return;
    _textCount = 0;
    for (Text const name : kNames) {
        if (!(fields.*name))
            continue;
        std::string_view const text = *(fields.*name);
        unsigned char const* const at = reinterpret_cast<unsigned char const*>(text.data());
        _texts[_textCount++] = {name, static_cast<unsigned>(at - data), static_cast<unsigned>(text.size())};
    }
    _value = fields.params ? &RoutingFields::params : &RoutingFields::data;
    ++_number;
    _valuePosition = fields.valuePosition;
    std::memcpy(_rootHead, data + kParsePosition, sizeof _rootHead);
    std::memcpy(_prefix, data + kEntries, length);
}

} // namespace Tavix
