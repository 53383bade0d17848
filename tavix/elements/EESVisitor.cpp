// The message as a whole: its buffer, its header and the entries of the root map. The values are in
// EESVisitorValues.cpp.
//
// All positions are offsets, so that growing may move the buffer. A head is written with zeros and completed once its
// children are there: nothing is measured in advance.
//
// An error stops the writing at once: _reserve answers false from then on, so nothing is ever written beyond the
// capacity. The place of the error is put together while the walk unwinds, each container adding its step, and costs
// nothing as long as all goes well.

#include "tavix/elements/EESVisitor.h"

#include "tavix/SvcErr.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESMessageType.h"
#include "tavix/foundation/Check.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace Tavix {

namespace {

constexpr unsigned kFirstCapacity = 16848;

unsigned char* bytes(char* at)
{
    return reinterpret_cast<unsigned char*>(at);
}

char* putValueHead(char* at, int id, unsigned length)
{
    at[0] = static_cast<char>(id);
    at[1] = kMarkValue;
    writeBigEndian32(bytes(at) + 2, length);
    return at + kValueHeadLength;
}

char* putString(char* at, std::string_view text)
{
    at = putValueHead(at, kNodeString, static_cast<unsigned>(text.size()));
    return at + text.copy(at, text.size());
}

// Texts as nodes, made by the compiler. All `size` bytes are copied, which takes no call; what comes next overwrites
// those that are too many.
template <unsigned size>
struct Nodes {
    template <class... Text>
    constexpr Nodes(Text const&... texts)
    {
        (add(texts), ...);
    }

    constexpr void add(std::string_view text)
    {
        bytes[length] = kNodeString;
        bytes[length + 1] = kMarkValue;
        bytes[length + 5] = static_cast<char>(text.size());
        length += kValueHeadLength;
        for (char c : text)
            bytes[length++] = c;
    }

    char* put(char* at) const
    {
        std::memcpy(at, bytes, size);
        return at + length;
    }

    char bytes[size] = {};
    unsigned length = 0;
};

using Key = Nodes<16>;
using Head = Nodes<88>; // up to the name of the object

constexpr Head headOf(std::string_view messageType, std::string_view systemRule)
{
    return Head("messageType", messageType, "systemRule", systemRule, "objName");
}

// What the root map of a type of message holds.
struct MessageForm {
    Head head;
    // The key of the method's or the event's name; not written by the types without one.
    Key nameKey;
    // The key of the one value that the caller may add.
    std::string_view tailText;
    Key tailKey;
    bool hasIdentity;
    bool hasName;
    bool hasTail;

    constexpr unsigned childCount() const
    {
        return 6 + (hasIdentity ? 2 : 0) + (hasName ? 2 : 0) + (hasTail ? 1 : 0);
    }
};

MessageForm const& formOf(int type)
{
    static constexpr MessageForm
        kCall = {headOf("method", "callMethod"), {"method"}, "params", {"params"}, true, true, true},
        kCallVoid = {headOf("method", "callVoidMethod"), {"method"}, "params", {"params"}, true, true, true},
        kObserve = {headOf("method", "addObserver"), {"event"}, "", {}, false, true, false},
        kObserveNoMore = {headOf("method", "removeObserver"), {"event"}, "", {}, false, true, false},
        kAddObject = {headOf("method", "addSharedObject"), {""}, "", {}, false, true, false},
        kRemoveObject = {headOf("method", "removeSharedObject"), {""}, "", {}, false, true, false},
        kEvent = {headOf("method", "event"), {"event"}, "data", {"data"}, true, true, true},
        kBackChannel = {headOf("backChannel", "backChannel"), {}, "params", {"params"}, false, false, true},
        kOther = {headOf("method", ""), {}, "", {}, false, false, false};
    switch (type) {
    case CallMethod:
        return kCall;
    case CallVoidMethod:
        return kCallVoid;
    case AddObserver:
        return kObserve;
    case RemoveObserver:
        return kObserveNoMore;
    case AddSharedObject:
        return kAddObject;
    case RemoveSharedObject:
        return kRemoveObject;
    case Event:
        return kEvent;
    case BackChannel:
        return kBackChannel;
    default:
        return kOther;
    }
}

// Puts the parts into the block.
void flatten(EncodedFrame& frame)
{
    char* const whole = static_cast<char*>(std::malloc(frame.length));
    TAVIX_CHECK(whole, "root!=__null");
    char* to = whole;
    unsigned from = 0;
    for (FramePart const& part : frame.parts) {
        to = std::copy(frame.block + from, frame.block + part.offset, to);
        to = std::copy_n(part.bytes.data, part.bytes.size, to);
        from = part.offset;
    }
    std::copy(frame.block + from, frame.block + frame.blockLength, to);
    std::free(frame.block);
    frame.block = whole;
    frame.blockLength = frame.length;
    frame.parts.clear();
}

} // namespace

EESVisitor::EESVisitor() = default;

EESVisitor::~EESVisitor()
{
    if (_bufferOwned)
        std::free(_buffer);
}

void EESVisitor::setMemoryLimit(unsigned limit)
{
    _memoryLimit = limit;
}

bool EESVisitor::allocateBuffer()
{
    if (_bufferOwned)
        std::free(_buffer);
    _buffer = _small;
    _bufferOwned = false;
    _capacity = kSmallCapacity;
    _offset = 0;
    _parts.clear();
    _outside = 0;
    _rootOffset = 0;
    _key = std::string_view();
    _valueWritten = false;
    _level = 0;
    _failed = false;
    _error.clear();
    fileDescriptors.removeChildren();
    return true;
}

bool EESVisitor::reallocateBuffer(unsigned required)
{
    if (!_buffer || _failed || required > INT_MAX)
        return false;
    if (!_bufferOwned)
        _moveToHeap();
    if (required < _capacity)
        return true;
    unsigned capacity = _capacity;
    do
        capacity *= 2;
    while (capacity < required);
    if (_memoryLimit != 0 && capacity > _memoryLimit)
        return false;
    char* const grown = static_cast<char*>(std::realloc(_buffer, std::size_t(capacity) + 1));
    if (!grown)
        SvcErr("Out of memory");
    _buffer = grown;
    _capacity = capacity;
    return true;
}

void EESVisitor::_moveToHeap()
{
    char* const root = static_cast<char*>(std::malloc(kFirstCapacity + 1));
    TAVIX_CHECK(root, "root!=__null");
    std::memcpy(root, _buffer, _offset);
    _buffer = root;
    _bufferOwned = true;
    _capacity = kFirstCapacity;
}

// Makes room for `length` more bytes; false after an error.
bool EESVisitor::_grow(std::size_t length)
{
    if (_failed)
        return false;
    std::size_t const required = _offset + length;
    if (!_buffer)
        _fail("no message was started");
    else if (required + _outside > INT_MAX)
        _failLength();
    else if (!reallocateBuffer(static_cast<unsigned>(required)))
        _fail("the message needs more than the memory limit of " + std::to_string(_memoryLimit) + " bytes");
    return !_failed;
}

void EESVisitor::startHeader(int type, unsigned messageId)
{
    if (!_reserve(kHeaderLength))
        return;
    unsigned char* const header = bytes(_buffer);
    header[kOffsetMagic] = '#';
    header[kOffsetMagic + 1] = '$';
    header[kOffsetFormatMark] = kFormatMark;
    header[kOffsetVersion] = kFormatVersion;
    writeBigEndian32(header + kOffsetMessageId, messageId);
    header[kOffsetMessageType] = static_cast<unsigned char>(type);
    writeBigEndian32(header + kOffsetReplyClientId, 0);
    _offset = kHeaderLength;
}

void EESVisitor::_startRoot(int type, unsigned messageId, std::string_view tailKey)
{
    allocateBuffer();
    startHeader(type, messageId);
    _type = type;
    _rootOffset = _offset;
    _rootChildCount = 0;
    _key = tailKey;
    // What the caller adds stands one level below the root map.
    _level = 1;
    addNonTerminal(kNodeMap);
}

void EESVisitor::startMessage(int type, unsigned messageId)
{
    static constexpr Nodes<48> kResponse("messageType", "response", "result");
    _startRoot(type, messageId, "result");
    if (_reserve(sizeof kResponse.bytes))
        _written(kResponse.put(_buffer + _offset));
    _rootChildCount = 3;
    _valueWritten = false;
}

EESVisitor::Result EESVisitor::startMessage(int type, unsigned messageId, std::string const& objName,
                                            std::string const& name)
{
    return startMessage(type, messageId, objName, name, std::string());
}

EESVisitor::Result EESVisitor::startMessage(int type, unsigned messageId, std::string const& objName,
                                            std::string const& name, std::string const& identity)
{
    static constexpr Key kIdentity("identity");
    MessageForm const& form = formOf(type);
    _startRoot(type, messageId, form.tailText);
    _rootChildCount = form.childCount();
    const std::size_t fixed = sizeof(Head) + 3 * (sizeof(Key) + kValueHeadLength);
    if (_reserve(fixed + objName.size() + identity.size() + name.size())) {
        char* at = putString(form.head.put(_buffer + _offset), objName);
        if (form.hasIdentity)
            at = putString(kIdentity.put(at), identity);
        if (form.hasName)
            at = putString(form.nameKey.put(at), name);
        if (form.hasTail)
            at = form.tailKey.put(at);
        _written(at);
    }
    _valueWritten = false;
    return kSuccess;
}

void EESVisitor::setReplyClientId(unsigned id)
{
    if (_buffer)
        writeBigEndian32(bytes(_buffer) + kOffsetReplyClientId, id);
}

// A node ends at `end`: the first one after startMessage is the value of the message.
void EESVisitor::_written(char const* end)
{
    _offset = static_cast<unsigned>(end - _buffer);
    _valueWritten = _valueWritten || _rootOffset != 0;
}

void EESVisitor::addStringChild(std::string_view key, std::string_view value)
{
    if (_reserve(2 * kValueHeadLength + key.size() + value.size()))
        _written(putString(putString(_buffer + _offset, key), value));
}

void EESVisitor::_addText(std::string_view text)
{
    if (_reserve(kValueHeadLength + text.size()))
        _written(putString(_buffer + _offset, text));
}

void EESVisitor::addTerminal(int id, char const* data, unsigned length)
{
    if (!_reserve(std::size_t(kValueHeadLength) + length))
        return;
    char* const value = putValueHead(_buffer + _offset, id, length);
    if (length != 0)
        std::memcpy(value, data, length);
    _written(value + length);
}

void EESVisitor::addNonTerminal(int id)
{
    if (!_reserve(kContainerHeadLength))
        return;
    char* const head = _buffer + _offset;
    head[0] = static_cast<char>(id);
    std::memset(head + 1, 0, kContainerHeadLength - 1);
    _written(head + kContainerHeadLength);
}

void EESVisitor::updateNonTerminal(unsigned start, unsigned end, unsigned count)
{
    if (_failed || !_buffer || end > _offset || end < start + kContainerHeadLength)
        return;
    unsigned char* const head = bytes(_buffer) + start;
    writeBigEndian16(head + 2, count);
    writeBigEndian32(head + 4, end - start - kContainerHeadLength);
}

void EESVisitor::_failLength()
{
    _fail("the message is longer than its size field can tell");
}

void EESVisitor::_addShared(int id, SharedBytes const& shared) noexcept
{
    if (!_reserve(kValueHeadLength))
        return;
    if (_offset + _outside + kValueHeadLength + shared.size > INT_MAX)
        return _failLength();
    _written(putValueHead(_buffer + _offset, id, static_cast<unsigned>(shared.size)));
    _parts.push_back(FramePart{_offset, shared});
    _outside += shared.size;
}

void EESVisitor::_finishRoot()
{
    if (_rootOffset != 0) {
        updateNonTerminal(_rootOffset, _offset, _rootChildCount + (_valueWritten ? 1 : 0));
        _lengthen(_rootOffset, _outside);
    }
    writeBigEndian32(bytes(_buffer), _offset + static_cast<unsigned>(_outside) - kSizeFieldLength);
}

bool EESVisitor::encodeFrame(EncodedFrame& frame)
{
    if (!_failed && _buffer && _offset + _outside > INT_MAX)
        _failLength();
    if (_failed || !_buffer)
        return false;
    _finishRoot();
    frame.blockLength = _offset;
    frame.length = _offset + static_cast<unsigned>(_outside);
    frame.parts = std::move(_parts);
    frame.block = _buffer;
    if (!_bufferOwned) {
        frame.block = static_cast<char*>(std::malloc(_offset));
        TAVIX_CHECK(frame.block, "root!=__null");
        std::memcpy(frame.block, _buffer, _offset);
    }
    _buffer = nullptr;
    _offset = 0;
    _capacity = 0;
    _bufferOwned = false;
    return true;
}

// Adds what lies outside the buffer to a container's content length.
void EESVisitor::_lengthen(unsigned start, std::size_t outside)
{
    unsigned char* const length = bytes(_buffer) + start + 4;
    if (outside != 0)
        writeBigEndian32(length, readBigEndian32(length) + static_cast<unsigned>(outside));
}

int EESVisitor::encode(char** out)
{
    *out = nullptr;
    EncodedFrame frame;
    if (!encodeFrame(frame))
        return 0;
    if (!frame.parts.empty())
        flatten(frame);
    *out = frame.block;
    return static_cast<int>(frame.length);
}

} // namespace Tavix
