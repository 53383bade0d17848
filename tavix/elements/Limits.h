#ifndef TAVIX_ELEMENTS_LIMITS_H
#define TAVIX_ELEMENTS_LIMITS_H

#include <cstddef>

namespace Tavix {

// The deepest level of a node in a message. The root map of the message is level 0, a value behind "params"
// or "result" is level 1. The encoder refuses a deeper value and the parser a deeper message. The number is
// chosen so that reading, cloning, printing, encoding and deleting such a tree fits a stack of 256 KiB.
constexpr unsigned kMaxNesting = 128;

// A list may claim more children than the block holds; each one missing reads as an empty list. This is how
// many such nodes one message may make in all before it counts as undecodable.
constexpr unsigned kMaxSurplusNodes = 65535;

// The child count of a container has 16 bits on the wire. An entry of a map counts as two children.
constexpr unsigned kMaxChildCount = 65535;

// An XML document may open this many tags within each other, which is enough for every tree that a message
// carries: each of its maps takes two, and kMaxNesting bounds the containers as well.
constexpr unsigned kMaxOpenTags = 2 * kMaxNesting;

// What one XML document may take up: the bytes of its texts and names, and kBytesPerTag for each tag and for
// each attribute that the reader does not know. As many bytes may follow each other without a tag or a text.
constexpr std::size_t kMaxDocumentBytes = std::size_t(64) << 20;
constexpr std::size_t kBytesPerTag = 32;

} // namespace Tavix

#endif
