// The reader of the binary format that builds a tree. The format is in EESFormat.h, the values are in
// EESParserValues.cpp.
//
// A fixed field that is not there reads as 0, a value whose bytes are not all there is no node at all. Depth and
// surplus nodes are counted in the cursor; when a limit is passed, `refused` makes all loops end and the whole message
// counts as undecodable.
//
// A node is made by readNode and then added to its container by the caller, so that the recursion has no more in its
// frames than it needs.

#include "tavix/elements/EESParser.h"

#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParserInternal.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/foundation/Check.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace Tavix {

using namespace Ees;

namespace {

struct Head {
    unsigned id;
    unsigned mark;
};

inline Head readHead(Info* info)
{
    unsigned char const* at;
    if (remaining(info) >= 2 && readFixed(info, 2, at))
        return {at[0], at[1]};
    // An id without a mark counts as the id of a container.
    unsigned const id = readByte(info);
    return {id, readByte(info)};
}

Element* readNode(Info* info);

// The name of a map entry; empty when the node is no string or is not all there.
std::string_view readName(Info* info, bool& isString)
{
    Head const head = readHead(info);
    std::string_view name;
    isString = head.id == kNodeString && head.mark == kMarkValue;
    if (isString)
        readBytes(info, readLong(info), name);
    return name;
}

// Without memory for a container its children cannot be stepped over, and all that follows would be misread.
Element* refuse(Info* info)
{
    info->status = kStatusNoMemory;
    info->refused = true;
    return nullptr;
}

Element* readMap(Info* info, unsigned count)
{
    auto* const map = new (std::nothrow) MapElem;
    if (!map)
        return refuse(info);
    // A claim of more than the block can hold makes no room.
    map->reserve(std::min(count / 2, remaining(info) / (2 * kValueHeadLength)));
    for (unsigned i = 0; i < count && !info->refused;) {
        // Behind the end there are only empty names, whatever the count.
        if (remaining(info) == 0) {
            info->status = kStatusPastEnd;
            break;
        }
        bool isString;
        std::string_view const name = readName(info, isString);
        // A name in the last place has no value.
        if (name.empty() || i + 1 >= count) {
            ++i;
            continue;
        }
        if (Element* const child = readNode(info))
            map->put(name, child);
        i += 2;
    }
    return map;
}

Element* readList(Info* info, unsigned count)
{
    auto* const list = new (std::nothrow) ListElem;
    if (!list)
        return refuse(info);
    for (unsigned i = 0; i < count && !info->refused; ++i)
        if (Element* const child = readNode(info))
            list->add(child);
    return list;
}

Element* readFileDescriptor(Info* info)
{
    info->descriptors = true;
    auto* const descriptor = FileDescriptorElem::makeForeign(-1, {}, {}, {});
    if (!descriptor)
        return refuse(info);
    for (char const* member : {"host", "pid", "exe", "value"}) {
        if (info->refused)
            break;
        std::unique_ptr<Element> const value(readNode(info));
        if (!value)
            continue;
        try {
            descriptor->setMember(member, value.get());
        } catch (std::bad_alloc const&) {
            info->status = kStatusNoMemory;
        }
    }
    return descriptor;
}

Element* readNonTerminal(Info* info, unsigned id)
{
    unsigned const count = readShort(info);
    // The content length: the children are read one by one.
    readLong(info);
    Element* e = nullptr;
    ++info->level;
    switch (id) {
    case kNodeMap:
        e = readMap(info, count);
        break;
    case kNodeList:
        e = readList(info, count);
        break;
    case kNodeFileDescriptor:
        e = readFileDescriptor(info);
        break;
    default:
        std::printf("!!!EEESParser -  Unknown Terminal ID : %d\r\n", static_cast<int>(id));
        dump(info);
    }
    --info->level;
    return e;
}

// Reads one node. Null when there is nothing to add to the container, also when the message is refused.
Element* readNode(Info* info)
{
    // Behind the end the head reads as zeros: an empty list.
    bool const isSurplus = remaining(info) == 0;
    if (info->level > kMaxNesting || (isSurplus && ++info->surplus > kMaxSurplusNodes))
        info->refused = true;
    if (info->refused)
        return nullptr;
    Head const head = readHead(info);
    if (head.mark == kMarkContainer)
        return readNonTerminal(info, head.id);
    return head.mark == kMarkValue ? readTerminal(info, head.id) : nullptr;
}

} // namespace

unsigned EESParser::readValue(EncodedBlockInfo* info, int width)
{
    switch (width) {
    case 1:
        return readByte(info);
    case 2:
        return readShort(info);
    case 4:
        return readLong(info);
    default:
        if (width > 0 && remaining(info) < static_cast<unsigned>(width))
            failRead(info);
        return 0;
    }
}

void EESParser::parseStringNode(EncodedBlockInfo* info, std::string* out)
{
    bool isString;
    std::string_view const text = readName(info, isString);
    if (isString)
        out->assign(text);
}

void EESParser::recurseNodeVersion1(EncodedBlockInfo* info, Element* parent, std::string name)
{
    Element* const e = readNode(info);
    if (!e)
        return;
    if (parent->isMap()) {
        parent->addChild(name, e);
    } else if (auto* const list = dynamic_cast<ListElem*>(parent)) {
        list->add(e);
    } else if (auto* const descriptor = dynamic_cast<FileDescriptorElem*>(parent)) {
        descriptor->setMember(name, e);
        delete e;
    } else {
        delete e;
        std::printf("Unhandled recursive call to %s on element type %s", "recurseNodeVersion1", "Element");
        std::fflush(stdout);
        TAVIX_CHECK(false, "false");
    }
}

Element* EESParser::readContainer(unsigned char const* data, unsigned length, unsigned position,
                                  unsigned version, std::shared_ptr<void const> owner, unsigned level,
                                  bool* descriptors)
{
    if (version != 1 && version != 2)
        return nullptr;
    EncodedBlockInfo info;
    info.data = data;
    info.position = position;
    info.end = length;
    info.owner = std::move(owner);
    info.level = level;
    Element* const root = readNode(&info);
    if (descriptors)
        *descriptors = info.descriptors;
    if (!info.refused)
        return root;
    delete root;
    return nullptr;
}

} // namespace Tavix
