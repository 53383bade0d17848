// The values of a message, one operation per kind, and the place of the one that cannot be carried.

#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESVisitor.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

namespace Tavix {

namespace {

// The longest part of a key that an error text shows.
constexpr std::size_t kShownKeyLength = 64;

// A key as an error line shows it: in quotes, cut when long, with the bytes that would disturb a terminal in
// hexadecimal.
std::string quoted(std::string_view key)
{
    std::string text = "\"";
    for (char const c : key.substr(0, kShownKeyLength)) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F && c != '"' && c != '\\') {
            text += c;
            continue;
        }
        char hex[5];
        std::snprintf(hex, sizeof hex, "\\x%02X", byte);
        text += hex;
    }
    return text.append(key.size() > kShownKeyLength ? "...\"" : "\"");
}

} // namespace

void EESVisitor::_fail(std::string_view reason) noexcept
{
    if (_failed)
        return;
    _failed = true;
    _capacity = 0;
    _error = _key.empty() ? "message" : quoted(_key);
    _placeEnd = _error.size();
    _error.append(": ").append(reason);
}

void EESVisitor::_failDepth()
{
    _fail("nested deeper than " + std::to_string(kMaxNesting) + " levels");
}

// The error is below the child `place` of the container at hand. The walk unwinds from the inside, so each step goes
// in front of the ones before it.
void EESVisitor::_failBelow(std::string_view place)
{
    _error.insert(_placeEnd, "/" + std::string(place));
}

void EESVisitor::_failBelowIndex(std::size_t index)
{
    _failBelow(std::to_string(index));
}

void EESVisitor::_failBelowKey(std::string_view key)
{
    _failBelow(quoted(key));
}

bool EESVisitor::_enterContainer(int id, std::size_t children, std::size_t nodesPerChild)
{
    if (children > kMaxChildCount / nodesPerChild)
        _fail(std::to_string(children) +
              (id == kNodeMap ? " entries, a map carries at most " : " children, a list carries at most ") +
              std::to_string(kMaxChildCount / nodesPerChild));
    addNonTerminal(id);
    ++_level;
    return !_failed;
}

// `outside`: what lay outside the buffer when the container began.
void EESVisitor::_leaveContainer(unsigned start, std::size_t outside, std::size_t nodes)
{
    --_level;
    updateNonTerminal(start, _offset, static_cast<unsigned>(nodes));
    _lengthen(start, _outside - outside);
}

void EESVisitor::_addChild(Element* child)
{
    if (_level > kMaxNesting)
        _failDepth();
    else if (child)
        child->accept(this);
    else
        addTerminal(kNodeNull, nullptr, 0);
}

void EESVisitor::visitorAtListElem(ListElem* list)
{
    unsigned const start = _offset;
    std::size_t const outside = _outside;
    if (!_enterContainer(kNodeList, list->size(), 1))
        return;
    std::size_t count = 0;
    for (Element* child : *list) {
        _addChild(child);
        if (_failed)
            return _failBelowIndex(count);
        ++count;
    }
    _leaveContainer(start, outside, count);
}

void EESVisitor::visitorAtMapElem(MapElem* map)
{
    unsigned const start = _offset;
    std::size_t const outside = _outside;
    if (!_enterContainer(kNodeMap, map->size(), 2))
        return;
    for (auto const& [name, child] : *map) {
        if (name.empty())
            return _fail("a key of the map is empty");
        _addText(name);
        _addChild(child);
        if (_failed)
            return _failBelowKey(name);
    }
    _leaveContainer(start, outside, map->size() * 2);
}

void EESVisitor::visitorAtFileDescriptorElem(FileDescriptorElem* element)
{
    // The four parts are nodes of their own, one level below.
    if (_level >= kMaxNesting)
        return _failDepth();
    unsigned const start = _offset;
    addNonTerminal(kNodeFileDescriptor);
    for (std::string const* part : {&element->host(), &element->pid(), &element->exe()})
        _addText(*part);
    visitorAtIntegerElem(element);
    updateNonTerminal(start, _offset, 4);
    if (!_failed)
        fileDescriptors.add(element->clone());
}

void EESVisitor::visitorAtIntegerElem(IntegerElem* element)
{
    unsigned char value[4];
    writeBigEndian32(value, static_cast<unsigned>(element->intValue()));
    addTerminal(kNodeInteger, reinterpret_cast<char const*>(value), sizeof value);
}

void EESVisitor::visitorAtBooleanElem(BooleanElem* element)
{
    char const value = element->booleanValue() ? 1 : 0;
    addTerminal(kNodeBoolean, &value, 1);
}

void EESVisitor::visitorAtDoubleElem(DoubleElem* element)
{
    // Enough for the largest double with six decimals. printf would take the decimal point from the locale.
    char text[std::numeric_limits<double>::max_exponent10 + 16];
    char const* const end =
        std::to_chars(text, text + sizeof text, element->doubleValue(), std::chars_format::fixed, 6).ptr;
    constexpr std::ptrdiff_t kLongest = 23;
    addTerminal(kNodeDouble, text, static_cast<unsigned>(std::min(end - text, kLongest)));
}

void EESVisitor::visitorAtStringElem(StringElem* element)
{
    if (_sharing && element->text().size() >= kSharedLength)
        _addShared(kNodeString, element->share());
    else
        _addText(element->text());
}

void EESVisitor::visitorAtBinaryElem(BinaryElem* element)
{
    if (_sharing && element->binaryLength() >= kSharedLength)
        return _addShared(kNodeBinary, element->share());
    addTerminal(kNodeBinary, reinterpret_cast<char const*>(element->binaryValue()), element->binaryLength());
}

void EESVisitor::visitorAtNullElem(NullElem*)
{
    addTerminal(kNodeNull, nullptr, 0);
}

void EESVisitor::visitorAtExceptionElem(ExceptionElem* element)
{
    // The message ends at its first zero byte.
    std::string const text = iToString(element->intValue()) + ":" + element->message().c_str();
    addTerminal(kNodeException, text.data(), static_cast<unsigned>(text.size()));
}

} // namespace Tavix
