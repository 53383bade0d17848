#ifndef TAVIX_ELEMENTS_EESPARSERINTERNAL_H
#define TAVIX_ELEMENTS_EESPARSERINTERNAL_H

// The cursor of EESParser, shared by its sources. Every read is tested against the end of the block: one that does
// not fit sets the status and moves to the end.

#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"

#include <string_view>

namespace Tavix {
namespace Ees {

using Info = EESParser::EncodedBlockInfo;

enum Status { kStatusPastEnd = 1, kStatusNoMemory = 2 };

inline unsigned remaining(Info const* info)
{
    return info->position < info->end ? info->end - info->position : 0;
}

inline bool failRead(Info* info)
{
    info->status = kStatusPastEnd;
    info->position = info->end;
    return false;
}

inline bool readFixed(Info* info, unsigned width, unsigned char const*& at)
{
    if (remaining(info) < width)
        return failRead(info);
    at = info->data + info->position;
    info->position += width;
    return true;
}

inline unsigned readByte(Info* info)
{
    unsigned char const* at;
    return readFixed(info, 1, at) ? *at : 0;
}

inline unsigned readShort(Info* info)
{
    unsigned char const* at;
    return readFixed(info, 2, at) ? readBigEndian16(at) : 0;
}

inline unsigned readLong(Info* info)
{
    unsigned char const* at;
    return readFixed(info, 4, at) ? readBigEndian32(at) : 0;
}

// The bytes of a value. False, with the position at the end, when they are not all there.
inline bool readBytes(Info* info, unsigned length, std::string_view& value)
{
    unsigned char const* at;
    if (!readFixed(info, length, at))
        return false;
    value = std::string_view(reinterpret_cast<char const*>(at), length);
    return true;
}

inline void skip(Info* info, unsigned length)
{
    unsigned char const* ignored;
    readFixed(info, length, ignored);
}

// Shows the block, once for a run: a block full of unknown nodes must not flood the output.
void dump(Info* info);

// Reads a value behind its node id and mark. Null when there is nothing to add to the container.
Element* readTerminal(Info* info, unsigned id);

} // namespace Ees
} // namespace Tavix

#endif
