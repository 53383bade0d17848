#ifndef TAVIX_ELEMENTS_ENCODEDFRAME_H
#define TAVIX_ELEMENTS_ENCODEDFRAME_H

#include <tavix/elements/SharedBytes.h>

#include <vector>

namespace Tavix {

// Bytes of a frame that stand in a value instead of the frame's own block: they come before the byte at `offset` of
// that block.
struct FramePart {
    unsigned offset;
    SharedBytes bytes;
};

// An encoded message: a block from malloc, to be released with free by whoever has it, and the parts that lie
// elsewhere, in ascending order of their offsets.
struct EncodedFrame {
    char* block = nullptr;
    unsigned blockLength = 0; // bytes of the block
    unsigned length = 0;      // bytes of the frame, with the parts
    std::vector<FramePart> parts;
};

} // namespace Tavix

#endif
