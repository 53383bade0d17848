#include "tavix/elements/JsonVisitor.h"

#include "tavix/elements/Base64Internal.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/DoubleTextInternal.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

namespace Tavix {

namespace {

constexpr std::size_t kMaxDoubleLength = 31;

// The character behind the backslash, 0 when the byte has no short form.
char shortForm(char byte)
{
    switch (byte) {
    case '\b':
        return 'b';
    case '\t':
        return 't';
    case '\n':
        return 'n';
    case '\f':
        return 'f';
    case '\r':
        return 'r';
    case '"':
    case '/':
    case '\\':
        return byte;
    default:
        return 0;
    }
}

// Not iscntrl, which in some locales takes bytes of a UTF-8 character for control characters.
bool isControl(char byte)
{
    return (byte >= 0 && byte < 0x20) || byte == 0x7F;
}

void appendQuoted(std::string& out, std::string_view text)
{
    out += '"';
    std::size_t plain = 0; // begin of the bytes that wait to be copied as they are
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const escaped = shortForm(text[i]);
        if (!escaped && !isControl(text[i]))
            continue;
        out.append(text, plain, i - plain);
        plain = i + 1;
        if (escaped) {
            out += '\\';
            out += escaped;
        }
    }
    out.append(text, plain, text.size() - plain);
    out += '"';
}

} // namespace

JsonVisitor::JsonVisitor() = default;

JsonVisitor::~JsonVisitor() = default;

std::string JsonVisitor::toJsonString(Element* e)
{
    JsonVisitor visitor;
    visitor.addChild(e);
    return visitor.getString();
}

std::string JsonVisitor::escapeString(std::string const& text)
{
    std::string result;
    result.reserve(text.size() + 2);
    appendQuoted(result, text);
    return result;
}

std::string JsonVisitor::getString() const
{
    return _text;
}

void JsonVisitor::visitorAtMapElem(MapElem* element)
{
    char separator = '{';
    for (auto const& [name, child] : *element) {
        _text += separator;
        separator = ',';
        appendQuoted(_text, name);
        _text += ':';
        addChild(child);
    }
    _text += element->size() > 0 ? "}" : "{}";
}

void JsonVisitor::visitorAtListElem(ListElem* element)
{
    char separator = '[';
    for (Element* const child : *element) {
        _text += separator;
        separator = ',';
        addChild(child);
    }
    _text += element->size() > 0 ? "]" : "[]";
}

void JsonVisitor::visitorAtIntegerElem(IntegerElem* element)
{
    _text += element->stringValue();
}

void JsonVisitor::visitorAtBooleanElem(BooleanElem* element)
{
    _text += element->booleanValue() ? "true" : "false";
}

void JsonVisitor::visitorAtDoubleElem(DoubleElem* element)
{
    appendFixed(_text, element->doubleValue(), kMaxDoubleLength);
}

void JsonVisitor::visitorAtStringElem(StringElem* element)
{
    appendQuoted(_text, element->text());
}

void JsonVisitor::visitorAtBinaryElem(BinaryElem* element)
{
    _text += '"';
    appendBase64(_text, element->binaryValue(), element->binaryLength());
    _text += '"';
}

void JsonVisitor::visitorAtNullElem(NullElem*)
{
    _text += "null";
}

void JsonVisitor::visitorAtExceptionElem(ExceptionElem* element)
{
    _text += "{\"exceptionstring\":";
    appendQuoted(_text, element->message());
    _text += ",\"exceptioninteger\":";
    _text += iToString(element->intValue());
    _text += '}';
}

void JsonVisitor::visitorAtFileDescriptorElem(FileDescriptorElem*)
{
}

int JsonVisitor::encode(char**)
{
    return 0;
}

void JsonVisitor::addChild(Element* child)
{
    if (child)
        child->accept(this);
    else
        _text += "null";
}

} // namespace Tavix
