#ifndef TAVIX_FOUNDATION_PROPERTYMAPFORMATINTERNAL_H
#define TAVIX_FOUNDATION_PROPERTYMAPFORMATINTERNAL_H

#include <cstddef>
#include <cstdint>

// The encoded form of a PropertyMap, for its reader and its writer.
namespace PropertyMapFormat {

constexpr char kMark[] = {'P', 'M', 'A', 'P'};
constexpr std::size_t kLengthOffset = sizeof kMark;
constexpr std::size_t kBlockHeader = kLengthOffset + 4;
constexpr std::size_t kTypeOffset = 4;
constexpr std::size_t kSizeOffset = kTypeOffset + 1;
constexpr std::size_t kEntryHeader = kSizeOffset + 4;

inline std::uint32_t read32(unsigned char const* from)
{
    return std::uint32_t(from[0]) << 24 | std::uint32_t(from[1]) << 16 | std::uint32_t(from[2]) << 8 |
           from[3];
}

inline std::uint64_t read64(unsigned char const* from)
{
    return std::uint64_t(read32(from)) << 32 | read32(from + 4);
}

inline void write32(unsigned char* to, std::uint32_t value)
{
    for (int byte = 0; byte < 4; ++byte)
        to[byte] = static_cast<unsigned char>(value >> (24 - 8 * byte));
}

inline void write64(unsigned char* to, std::uint64_t value)
{
    write32(to, static_cast<std::uint32_t>(value >> 32));
    write32(to + 4, static_cast<std::uint32_t>(value));
}

} // namespace PropertyMapFormat

#endif
