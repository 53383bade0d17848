#ifndef TAVIX_ELEMENTS_EESPEEKPARSER_H
#define TAVIX_ELEMENTS_EESPEEKPARSER_H

#include <tavix/foundation/Export.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Tavix {

// The routing fields of a message. A field is there when its key is in the root map, and has its text when
// the value is a string or an exception, else the empty text. The texts lie in the message: they live as long
// as its bytes.
struct RoutingFields {
    std::optional<std::string_view> messageType;
    std::optional<std::string_view> systemRule;
    std::optional<std::string_view> objName;
    std::optional<std::string_view> method;
    std::optional<std::string_view> identity;
    std::optional<std::string_view> event;
    std::optional<std::string_view> params;
    std::optional<std::string_view> data;
    std::optional<std::string_view> result;
    // Where the node of `params` or `data` begins, when one is there.
    unsigned valuePosition = 0;
    // Whole strings and then, with a value, `params` or `data`, as encoders write a call or an event.
    bool regular = true;
};

// Reads the top level of a message's root map and steps over every nested value by its stated length,
// building no tree. Never reads beyond the block. Without state; the bytes must not change during a run.
class TAVIX_API EESPeekParser {
public:
    // Widths of the fields: node id, terminal mark, child count, content length, value length.
    static constexpr int pid_len = 1;
    static constexpr int pdt_len = 1;
    static constexpr int cne_len = 2;
    static constexpr int cld_len = 4;
    static constexpr int dld_len = 4;

    // The cursor of one run.
    struct PeekEncodedBlockInfo {
        unsigned char const* data;
        // The next byte to read, and the length of the block.
        unsigned position;
        unsigned end;
        std::map<std::string, std::string>& fields;
        // 1 after a read past the end.
        int status = 0;
        // The block has been shown on standard output.
        bool dumped = false;
    };

    // Enters every top-level key into `fields`; of equal keys the last one counts. For a message: its bytes
    // behind the size field, their number, and kParsePosition.
    static void readContainer(unsigned char const* data, unsigned length, unsigned position,
                              std::map<std::string, std::string>& fields);

    // The same for the routing keys alone, and without any allocation. With `quiet` nothing is printed.
    static void readRoutingFields(unsigned char const* data, unsigned length, unsigned position,
                                  RoutingFields& fields, bool quiet = false);

    // A number of 1, 2 or 4 bytes. Past the end: 0, with status 1 and the position unchanged. Any other
    // width: 0.
    static unsigned readValue(PeekEncodedBlockInfo* info, int width);

    // Reads a string node into *out. Of any other node it reads two bytes and leaves *out alone.
    static void parseStringNode(PeekEncodedBlockInfo* info, std::string* out);

    // Reads one node; with `record` its text is entered under `name`. The entries of a map are read at depth
    // 0 only.
    static void recurseNodeVersion1(PeekEncodedBlockInfo* info, bool record, std::string name,
                                    unsigned depth);
};

} // namespace Tavix

#endif
