#include "tavixctl/EESFile.h"

#include <tavix/elements/EESFormat.h>
#include <tavix/elements/EESMessageType.h>
#include <tavix/elements/EESParser.h>
#include <tavix/elements/EESVisitor.h>
#include <tavix/elements/NullElem.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace Tavix;

namespace {

// Why the bytes are no message, empty when they may be one.
std::string faultOf(std::string const& message)
{
    auto const* const bytes = reinterpret_cast<unsigned char const*>(message.data());
    if (message.size() < kHeaderLength)
        return "a message begins with a header of " + std::to_string(kHeaderLength) +
               " bytes, and there are " + std::to_string(message.size());
    if (std::memcmp(bytes + kOffsetMagic, "#$", 2) != 0 || bytes[kOffsetFormatMark] != kFormatMark)
        return "at offset 4 is not the mark of a message, 23 24 01";
    std::size_t const size = kSizeFieldLength + std::size_t(readBigEndian32(bytes));
    if (size != message.size())
        return "by its size field the message has " + std::to_string(size) + " bytes, and there are " +
               std::to_string(message.size());
    return {};
}

} // namespace

SharedPtr<Element> valueOfMessage(std::string const& message, std::string& error)
{
    error = faultOf(message);
    if (!error.empty())
        return {};
    auto const* const bytes = reinterpret_cast<unsigned char const*>(message.data());
    std::unique_ptr<Element> root(EESParser::readContainer(
        bytes + kSizeFieldLength, static_cast<unsigned>(message.size() - kSizeFieldLength), kParsePosition,
        bytes[kOffsetVersion]));
    if (!root || !root->isMap()) {
        error = "the message cannot be decoded";
        return {};
    }
    for (char const* name : {"result", "params", "data"}) {
        if (!root->hasChild(name))
            continue;
        TvxResult removed;
        Element* const value = root->removeChild(name, removed);
        return SharedPtr<Element>(value ? value : new NullElem);
    }
    return SharedPtr<Element>(root.release());
}

bool messageOfValue(Element* value, std::string& message, std::string& error)
{
    EESVisitor encoder;
    encoder.startMessage(Response, 0);
    if (value)
        value->accept(&encoder);
    char* block = nullptr;
    int const length = encoder.encode(&block);
    std::unique_ptr<char, decltype(&std::free)> const owner(block, std::free);
    if (!block) {
        error = encoder.getError();
        return false;
    }
    message.assign(block, static_cast<std::size_t>(length));
    return true;
}

bool bytesOfHex(std::string const& hex, std::string& bytes, std::string& error)
{
    auto const isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    auto const isDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    int line = 1;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < hex.size(); ++i) {
        if (hex[i] == '\n') {
            ++line;
            lineStart = i + 1;
        }
        if (isSpace(hex[i]))
            continue;
        if (i + 1 >= hex.size() || !isDigit(hex[i]) || !isDigit(hex[i + 1])) {
            error = "line " + std::to_string(line) + ", column " + std::to_string(i - lineStart + 1) +
                    ": not a pair of hexadecimal digits";
            return false;
        }
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        ++i;
    }
    return true;
}

std::string hexOfBytes(std::string const& bytes)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        auto const byte = static_cast<unsigned char>(bytes[i]);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
        hex += i % 16 == 15 || i + 1 == bytes.size() ? '\n' : ' ';
    }
    return hex;
}
