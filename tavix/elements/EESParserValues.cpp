// The values of EESParser, one function per kind.

#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/DoubleTextInternal.h"
#include "tavix/elements/EESParserInternal.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <cstdio>
#include <new>

namespace Tavix {
namespace Ees {

namespace {

Element* readInteger(Info* info, unsigned length)
{
    if (length == 1 || length == 2 || length == 4)
        return new (std::nothrow)
            IntegerElem(static_cast<int>(EESParser::readValue(info, static_cast<int>(length))));
    std::printf("!!EESParser: IntegerElem Length not Supported : %u\r\n", length);
    dump(info);
    skip(info, length);
    return new (std::nothrow) IntegerElem(0);
}

Element* readBoolean(Info* info, unsigned length)
{
    // The length is the width of the field. One that is no width reads as 0 and consumes nothing, but is past the
    // end like any other when the block ends before it.
    if (remaining(info) < length)
        failRead(info);
    unsigned const value = length <= 4 ? EESParser::readValue(info, static_cast<int>(length)) : 0;
    return new (std::nothrow) BooleanElem(value != 0);
}

Element* makeException(std::string_view text)
{
    std::size_t const colon = text.find(':');
    if (colon == std::string_view::npos)
        return new ExceptionElem(std::string(), 0);
    int const code = StringToi(std::string(text.substr(0, colon)));
    return new ExceptionElem(std::string(text.substr(colon + 1)), code);
}

// A value that is no large part of its block is copied: a tree that an application keeps must not keep much more memory
// than it shows.
bool sharesBlock(Info const* info, std::string_view value)
{
    return info->owner && value.size() >= kSharedLength && value.size() >= info->end / 4;
}

Element* makeString(Info* info, std::string_view value)
{
    if (sharesBlock(info, value))
        return new StringElem(SharedBytes{info->owner, value.data(), value.size()});
    return new StringElem(value);
}

Element* makeBinary(Info* info, std::string_view value)
{
    if (sharesBlock(info, value))
        return new BinaryElem(SharedBytes{info->owner, value.data(), value.size()});
    TvxResult result;
    Element* const e = new (std::nothrow) BinaryElem(reinterpret_cast<unsigned char const*>(value.data()),
                                                     static_cast<unsigned>(value.size()), result);
    if (e && result != OPERATION_OK)
        info->status = kStatusNoMemory;
    return e;
}

Element* readText(Info* info, unsigned id, unsigned length)
{
    std::string_view value;
    if (!readBytes(info, length, value))
        return nullptr;
    switch (id) {
    case kNodeDouble:
        return new DoubleElem(parseDouble(value));
    case kNodeBinary:
        return makeBinary(info, value);
    case kNodeException:
        return makeException(value);
    default:
        return makeString(info, value);
    }
}

} // namespace

void dump(Info* info)
{
    if (!info->dumped)
        printHexBuffer(info->data, static_cast<int>(info->end));
    info->dumped = true;
}

Element* readTerminal(Info* info, unsigned id)
{
    unsigned const length = readLong(info);
    switch (id) {
    case kNodeInteger:
        return readInteger(info, length);
    case kNodeBoolean:
        return readBoolean(info, length);
    case kNodeDouble:
    case kNodeString:
    case kNodeStringAlias:
    case kNodeBinary:
    case kNodeException:
        try {
            return readText(info, id, length);
        } catch (std::bad_alloc const&) {
            return nullptr;
        }
    case kNodeNull:
        skip(info, length);
        return new (std::nothrow) NullElem;
    default:
        std::printf("!!!EEESParser -  Unknown Terminal ID : %d\n", static_cast<int>(id));
        dump(info);
        skip(info, length);
        return nullptr;
    }
}

} // namespace Ees
} // namespace Tavix
