#ifndef TAVIX_ELEMENTS_EESPARSER_H
#define TAVIX_ELEMENTS_EESPARSER_H

#include <tavix/foundation/Export.h>

#include <memory>
#include <string>

namespace Tavix {

class Element;

// Turns a received message into a value tree. Never reads beyond the block, and bounds depth, memory and time
// by Limits.h whatever the block claims. Without state; the bytes must not change during a run.
class TAVIX_API EESParser {
public:
    // Widths of the fields: node id, terminal mark, child count, content length, value length.
    static constexpr int pid_len = 1;
    static constexpr int pdt_len = 1;
    static constexpr int cne_len = 2;
    static constexpr int cld_len = 4;
    static constexpr int dld_len = 4;

    // The cursor of one run.
    struct EncodedBlockInfo {
        unsigned char const* data = nullptr;
        // The next byte to read, and the length of the block.
        unsigned position = 0;
        unsigned end = 0;
        // 1 after a read past the end, 2 after the block of a binary value could not be allocated.
        int status = 0;
        // The level of the node that is read next.
        unsigned level = 0;
        // Nodes made from reads that began at the end of the block.
        unsigned surplus = 0;
        // The message breaks a limit: nothing of it counts.
        bool refused = false;
        // The block has been shown on standard output.
        bool dumped = false;
        // A file descriptor was among the nodes.
        bool descriptors = false;
        // Keeps the block; large values share it then. Null: they are copied.
        std::shared_ptr<void const> owner;
    };

    // Reads the node at `position` and gives it back; the caller deletes it. For a message: its bytes behind
    // the size field, their number, kParsePosition, and the version byte of the header. Null when the version
    // is unknown, when the block breaks a limit, when there is no readable node, or when memory runs out. A
    // block that ends too early gives the part of the tree that could be read.
    // With an owner that keeps the block, large values of the tree share the block instead of copying it. `level` is
    // that of the node: 0 for the root map, 1 for a value in it. *descriptors, if given, says whether the tree may hold a
    // FileDescriptorElem.
    static Element* readContainer(unsigned char const* data, unsigned length, unsigned position,
                                  unsigned version, std::shared_ptr<void const> owner = nullptr,
                                  unsigned level = 0, bool* descriptors = nullptr);

    // A number of 1, 2 or 4 bytes. Past the end: 0, with status 1 and the position at the end. Any other
    // width: 0.
    static unsigned readValue(EncodedBlockInfo* info, int width);

    // Reads a string node into *out. Of any other node it reads two bytes and leaves *out alone.
    static void parseStringNode(EncodedBlockInfo* info, std::string* out);

    // Reads one node and adds it to `parent`, a map, a list or a file descriptor.
    static void recurseNodeVersion1(EncodedBlockInfo* info, Element* parent, std::string name);
};

} // namespace Tavix

#endif
