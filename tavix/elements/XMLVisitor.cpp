#include "tavix/elements/XMLVisitor.h"

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

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Tavix {

namespace {

constexpr std::size_t kMaxDoubleLength = 23;

// What stands for a byte that must not appear as it is; null for all others.
char const* entity(char byte)
{
    switch (byte) {
    case '"':
        return "&quot;";
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        return nullptr;
    }
}

void appendEscaped(std::string& out, std::string_view text)
{
    std::size_t plain = 0; // begin of the bytes that wait to be copied as they are
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const* const replacement = entity(text[i]);
        if (!replacement)
            continue;
        out.append(text, plain, i - plain).append(replacement);
        plain = i + 1;
    }
    out.append(text, plain, text.size() - plain);
}

void appendEscapedText(std::string& out, std::string_view text)
{
    appendEscaped(out, text.substr(0, text.find('\0')));
}

} // namespace

XMLVisitor::XMLVisitor()
{
    init(_text);
}

XMLVisitor::XMLVisitor(std::string& out)
{
    init(out);
}

XMLVisitor::~XMLVisitor() = default;

void XMLVisitor::init(std::string& out)
{
    _out = &out;
    *_out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
}

std::string XMLVisitor::getResult() const
{
    return *_out;
}

int XMLVisitor::encode(char** out)
{
    *out = static_cast<char*>(std::malloc(_out->size()));
    if (!*out)
        return 0;
    std::memcpy(*out, _out->data(), _out->size());
    return static_cast<int>(_out->size());
}

void XMLVisitor::writeElementTag(char const* tag, bool newLine)
{
    if (newLine)
        *_out += '\n';
    *_out += tag;
}

void XMLVisitor::writeElementText(char const* text)
{
    *_out += text;
}

void XMLVisitor::escapeXMLString(std::string const& in, std::string& out)
{
    appendEscaped(out, in);
}

void XMLVisitor::visitorAtMapElem(MapElem* element)
{
    writeElementTag("<MapElem>", true);
    for (auto const& [name, child] : *element) {
        writeElementTag("<child name=\"", true);
        appendEscapedText(*_out, name);
        *_out += "\">";
        writeChild(child);
        writeElementTag("</child>", false);
    }
    writeElementTag("</MapElem>", true);
}

void XMLVisitor::visitorAtListElem(ListElem* element)
{
    writeElementTag("<ListElem>", true);
    for (Element* const child : *element)
        writeChild(child);
    writeElementTag("</ListElem>", true);
}

void XMLVisitor::visitorAtIntegerElem(IntegerElem* element)
{
    writeElementTag("<IntegerElem>", true);
    *_out += iToString(element->intValue());
    writeElementTag("</IntegerElem>", false);
}

void XMLVisitor::visitorAtBooleanElem(BooleanElem* element)
{
    writeElementTag("<BooleanElem>", true);
    writeElementText(element->booleanValue() ? "true" : "false");
    writeElementTag("</BooleanElem>", false);
}

void XMLVisitor::visitorAtDoubleElem(DoubleElem* element)
{
    writeElementTag("<DoubleElem>", true);
    appendFixed(*_out, element->doubleValue(), kMaxDoubleLength);
    writeElementTag("</DoubleElem>", false);
}

void XMLVisitor::visitorAtStringElem(StringElem* element)
{
    writeElementTag("<StringElem>", true);
    appendEscapedText(*_out, element->text());
    writeElementTag("</StringElem>", false);
}

void XMLVisitor::visitorAtBinaryElem(BinaryElem* element)
{
    writeElementTag("<BinaryElem>", true);
    appendBase64(*_out, element->binaryValue(), element->binaryLength());
    writeElementTag("</BinaryElem>", false);
}

void XMLVisitor::visitorAtNullElem(NullElem*)
{
    writeElementTag("<NullElem/>", true);
}

void XMLVisitor::visitorAtExceptionElem(ExceptionElem* element)
{
    writeElementTag("<ExceptionElem value=\"", true);
    *_out += iToString(element->intValue());
    *_out += "\">";
    appendEscapedText(*_out, element->message());
    writeElementTag("</ExceptionElem>", false);
}

void XMLVisitor::writeChild(Element* child)
{
    if (child)
        child->accept(this);
    else
        visitorAtNullElem(nullptr);
}

} // namespace Tavix
