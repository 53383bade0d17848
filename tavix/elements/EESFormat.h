#ifndef TAVIX_ELEMENTS_EESFORMAT_H
#define TAVIX_ELEMENTS_EESFORMAT_H

#include <cstdint>
#include <cstring>

// The binary format of a message. All numbers are big-endian.
//
//   offset  width
//        0      4  size: number of bytes behind this field
//        4      2  magic, "#$"
//        6      1  format mark, 1
//        7      1  version
//        8      4  message id
//       12      1  message type (EESMessageType)
//       13      4  reply client id
//       17         the root node, a map
//
//   container:  node id (1), 0 (1), child count (2), content length (4), children
//   value:      node id (1), 1 (1), value length (4), value
namespace Tavix {

constexpr unsigned kHeaderLength = 17;
constexpr unsigned kSizeFieldLength = 4;
// Where the root node begins for the parsers, which count from behind the size field.
constexpr unsigned kParsePosition = kHeaderLength - kSizeFieldLength;

constexpr unsigned kOffsetMagic = 4;
constexpr unsigned kOffsetFormatMark = 6;
constexpr unsigned kOffsetVersion = 7;
constexpr unsigned kOffsetMessageId = 8;
constexpr unsigned kOffsetMessageType = 12;
constexpr unsigned kOffsetReplyClientId = 13;

constexpr unsigned char kFormatMark = 1;
constexpr unsigned char kFormatVersion = 2;

constexpr unsigned kContainerHeadLength = 8;
constexpr unsigned kValueHeadLength = 6;

constexpr unsigned char kMarkContainer = 0;
constexpr unsigned char kMarkValue = 1;

enum EESNodeId : unsigned char {
    kNodeList = 0,
    kNodeMap = 1,
    kNodeFileDescriptor = 3,
    kNodeInteger = 10,
    kNodeBoolean = 11,
    kNodeDouble = 12,
    kNodeString = 13,
    kNodeNull = 14,
    kNodeBinary = 16,
    kNodeException = 18,
    // Never written; read as a string.
    kNodeStringAlias = 30
};

inline unsigned readBigEndian16(unsigned char const* at)
{
    return static_cast<unsigned>(at[0]) << 8 | at[1];
}

inline unsigned readBigEndian32(unsigned char const* at)
{
    return static_cast<unsigned>(at[0]) << 24 | static_cast<unsigned>(at[1]) << 16 |
           static_cast<unsigned>(at[2]) << 8 | at[3];
}

inline void writeBigEndian16(unsigned char* at, unsigned value)
{
    at[0] = static_cast<unsigned char>(value >> 8);
    at[1] = static_cast<unsigned char>(value);
}

inline void writeBigEndian32(unsigned char* at, unsigned value)
{
    at[0] = static_cast<unsigned char>(value >> 24);
    at[1] = static_cast<unsigned char>(value >> 16);
    at[2] = static_cast<unsigned char>(value >> 8);
    at[3] = static_cast<unsigned char>(value);
}

} // namespace Tavix

#endif
