// The reader of the routing fields. One walk serves both forms of the result: it is a template over the cursor, and
// the cursor's `enter` takes the fields.

#include "tavix/elements/EESPeekParser.h"

#include "tavix/elements/EESFormat.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/RoutingMemoInternal.h"

#include <cstdio>

namespace Tavix {

namespace {

using PeekInfo = EESPeekParser::PeekEncodedBlockInfo;

// The cursor of a run that enters the routing keys only.
struct RoutingInfo {
    unsigned char const* data;
    unsigned position;
    unsigned end;
    RoutingFields& fields;
    bool quiet;
    int status = 0;
    bool dumped = false;
    unsigned nodesLeft = 0; // at the last entry, with its two
};

bool isQuiet(PeekInfo const*)
{
    return false;
}

bool isQuiet(RoutingInfo const* info)
{
    return info->quiet;
}

void enter(PeekInfo* info, std::string_view name, std::string_view text, unsigned, bool)
{
    auto place = info->fields.lower_bound(std::string(name));
    if (place == info->fields.end() || place->first != name)
        place = info->fields.emplace_hint(place, name, std::string());
    place->second = text;
}

std::optional<std::string_view> RoutingFields::*fieldOf(std::string_view name)
{
    switch (name.size()) {
    case 4:
        return name == "data" ? &RoutingFields::data : nullptr;
    case 5:
        return name == "event" ? &RoutingFields::event : nullptr;
    case 6:
        return name == "method"   ? &RoutingFields::method
               : name == "params" ? &RoutingFields::params
               : name == "result" ? &RoutingFields::result
                                  : nullptr;
    case 7:
        return name == "objName" ? &RoutingFields::objName : nullptr;
    case 8:
        return name == "identity" ? &RoutingFields::identity : nullptr;
    case 10:
        return name == "systemRule" ? &RoutingFields::systemRule : nullptr;
    case 11:
        return name == "messageType" ? &RoutingFields::messageType : nullptr;
    default:
        return nullptr;
    }
}

void enter(RoutingInfo* info, std::string_view name, std::string_view text, unsigned start, bool isString)
{
    auto const field = fieldOf(name);
    if (field)
        info->fields.*field = text;
    if (field == &RoutingFields::params || field == &RoutingFields::data)
        info->fields.valuePosition = start;
    else if (!isString)
        info->fields.regular = false;
}

void noteEntry(PeekInfo*, unsigned)
{
}

// The tree reader takes a name in the last place for one without a value, and walks into a container by its count
// where this reader steps over it by its length: only with the value as the last entry do both see the same.
void noteEntry(RoutingInfo* info, unsigned nodesLeft)
{
    info->nodesLeft = nodesLeft;
    if (nodesLeft < 2 || info->fields.params || info->fields.data)
        info->fields.regular = false;
}

template <class Info>
unsigned remaining(Info const* info)
{
    return info->position < info->end ? info->end - info->position : 0;
}

// A field that is not there reads as 0 and leaves the position: a narrower one may still fit.
template <class Info>
unsigned readField(Info* info, int width)
{
    if (width > 0 && remaining(info) < static_cast<unsigned>(width)) {
        info->status = 1;
        return 0;
    }
    unsigned char const* const at = info->data + info->position;
    switch (width) {
    case 1:
        info->position += 1;
        return *at;
    case 2:
        info->position += 2;
        return readBigEndian16(at);
    case 4:
        info->position += 4;
        return readBigEndian32(at);
    default:
        return 0;
    }
}

// The bytes of a value. When they are not all there the answer is empty and the position the end: nothing inside a
// value may ever be taken for a field.
template <class Info>
std::string_view readBytes(Info* info, unsigned length)
{
    if (remaining(info) < length) {
        info->status = 1;
        info->position = info->end;
        return "";
    }
    char const* const at = reinterpret_cast<char const*>(info->data + info->position);
    info->position += length;
    return std::string_view(at, length);
}

// The end of a string that is all there, read with one test of the bounds; null for all other nodes.
inline unsigned char const* wholeString(unsigned char const* at, unsigned char const* end,
                                        std::string_view& text)
{
    auto const left = static_cast<unsigned>(end - at);
    if (left < kValueHeadLength || at[0] != kNodeString || at[1] != kMarkValue)
        return nullptr;
    unsigned const length = readBigEndian32(at + 2);
    if (length > left - kValueHeadLength)
        return nullptr;
    text = std::string_view(reinterpret_cast<char const*>(at) + kValueHeadLength, length);
    return at + kValueHeadLength + length;
}

// False, with nothing read, for a node that is no such string.
template <class Info>
bool readWholeString(Info* info, std::string_view& text)
{
    unsigned char const* const at = info->data + info->position;
    unsigned char const* const end = wholeString(at, at + remaining(info), text);
    if (end)
        info->position = static_cast<unsigned>(end - info->data);
    return end != nullptr;
}

// The name of an entry; empty when the node is no string or is not all there.
template <class Info>
std::string_view readName(Info* info, bool& isString)
{
    std::string_view name;
    isString = readWholeString(info, name);
    if (isString)
        return name;
    unsigned const id = readField(info, EESPeekParser::pid_len);
    unsigned const mark = readField(info, EESPeekParser::pdt_len);
    isString = id == kNodeString && mark == kMarkValue;
    return isString ? readBytes(info, readField(info, EESPeekParser::dld_len)) : std::string_view();
}

// Says what is unknown and shows the block, once for a run: a block full of unknown nodes must not flood the output.
template <class Info>
void reportUnknown(Info* info, char const* format, unsigned id)
{
    if (isQuiet(info))
        return;
    std::printf(format, static_cast<int>(id));
    if (!info->dumped)
        printHexBuffer(info->data, static_cast<int>(info->end));
    info->dumped = true;
}

template <class Info>
std::string_view readTerminal(Info* info, unsigned id)
{
    switch (id) {
    case kNodeString:
    case kNodeException:
    case kNodeStringAlias:
        return readBytes(info, readField(info, EESPeekParser::dld_len));
    case kNodeInteger:
    case kNodeBoolean:
    case kNodeDouble:
    case kNodeNull:
    case kNodeBinary:
        break;
    default:
        reportUnknown(info, "!!!EEESPeekParser -  Unknown Terminal ID %d\n", id);
    }
    readBytes(info, readField(info, EESPeekParser::dld_len));
    return "";
}

template <class Info>
void readNode(Info* info, bool record, std::string_view name, bool isRoot);

// The entries before the first that is not a string with a string: nearly all there are. Answers how many nodes of
// `count` these were.
template <class Info>
unsigned readWholeEntries(Info* info, unsigned count)
{
    unsigned char const* at = info->data + info->position;
    unsigned char const* const end = at + remaining(info);
    unsigned read = 0;
    for (; count - read >= 2; read += 2) {
        std::string_view name;
        std::string_view text;
        unsigned char const* const value = wholeString(at, end, name);
        unsigned char const* const next = value && !name.empty() ? wholeString(value, end, text) : nullptr;
        if (!next)
            break;
        noteEntry(info, count - read);
        enter(info, name, text, static_cast<unsigned>(value - info->data), true);
        at = next;
    }
    info->position = static_cast<unsigned>(at - info->data);
    return read;
}

template <class Info>
void readRoot(Info* info, unsigned count)
{
    for (unsigned i = readWholeEntries(info, count); i < count;) {
        // Behind the end there are only empty names, whatever the count.
        if (remaining(info) == 0) {
            info->status = 1;
            return;
        }
        bool isString;
        std::string_view const name = readName(info, isString);
        if (name.empty()) {
            ++i;
            continue;
        }
        noteEntry(info, count - i);
        readNode(info, true, name, false);
        i += 2;
    }
}

template <class Info>
void readNonTerminal(Info* info, unsigned id, bool isRoot)
{
    unsigned const count = readField(info, EESPeekParser::cne_len);
    unsigned const length = readField(info, EESPeekParser::cld_len);
    if (id == kNodeMap && isRoot)
        readRoot(info, count);
    else if (id == kNodeMap || id == kNodeList || id == kNodeFileDescriptor)
        readBytes(info, length);
    else
        reportUnknown(info, "!!!EEESPeekParser -  Unknown Terminal ID : %d\n", id);
}

// The text of a node, and whether it was a string that is all there.
template <class Info>
std::string_view readText(Info* info, bool isRoot, bool& isString)
{
    std::string_view text = "";
    isString = readWholeString(info, text);
    if (isString)
        return text;
    unsigned const id = readField(info, EESPeekParser::pid_len);
    unsigned const mark = readField(info, EESPeekParser::pdt_len);
    if (mark == kMarkContainer)
        readNonTerminal(info, id, isRoot);
    else if (mark == kMarkValue)
        text = readTerminal(info, id);
    return text;
}

template <class Info>
void readNode(Info* info, bool record, std::string_view name, bool isRoot)
{
    unsigned const start = info->position;
    bool isString;
    std::string_view const text = readText(info, isRoot, isString);
    if (record)
        enter(info, name, text, start, isString);
}

} // namespace

void EESPeekParser::readContainer(unsigned char const* data, unsigned length, unsigned position,
                                  std::map<std::string, std::string>& fields)
{
    PeekEncodedBlockInfo info{data, position, length, fields};
    readNode(&info, false, "", true);
}

void EESPeekParser::readRoutingFields(unsigned char const* data, unsigned length, unsigned position,
                                      RoutingFields& fields, bool quiet)
{
    RoutingInfo info{data, position, length, fields, quiet};
    readNode(&info, false, "", true);
}

bool RoutingMemo::readWhole(unsigned char const* data, unsigned length, RoutingFields& fields, bool quiet)
{
    RoutingInfo info{data, kParsePosition, length, fields, quiet};
    readNode(&info, false, "", true);
    return fields.regular && info.nodesLeft == 2 && fields.valuePosition != 0;
}

std::string_view RoutingMemo::readValue(unsigned char const* data, unsigned length, RoutingFields& fields,
                                        bool quiet)
{
    RoutingInfo info{data, fields.valuePosition, length, fields, quiet};
    bool isString;
    return readText(&info, false, isString);
}

unsigned EESPeekParser::readValue(PeekEncodedBlockInfo* info, int width)
{
    return readField(info, width);
}

void EESPeekParser::parseStringNode(PeekEncodedBlockInfo* info, std::string* out)
{
    bool isString;
    std::string_view const text = readName(info, isString);
    if (isString)
        out->assign(text);
}

void EESPeekParser::recurseNodeVersion1(PeekEncodedBlockInfo* info, bool record, std::string name,
                                        unsigned depth)
{
    readNode(info, record, name, depth == 0);
}

} // namespace Tavix
