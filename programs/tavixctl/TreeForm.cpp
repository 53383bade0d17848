#include "tavixctl/TreeForm.h"

#include "tavixctl/EESFile.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/TreeDifference.h"

#include <tavix/elements/FileDescriptorVisitor.h>
#include <tavix/elements/NullElem.h>
#include <tavix/elements/XMLParser.h>
#include <tavix/elements/XMLVisitor.h>
#include <tavix/foundation/ByteArrayInputStream.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

using namespace Tavix;

std::map<std::string, TreeForm> const kTreeForms = {{"json", TreeForm::kJson},
                                                    {"xml", TreeForm::kXml},
                                                    {"ees", TreeForm::kEes},
                                                    {"hex", TreeForm::kHex},
                                                    {"text", TreeForm::kText}};

namespace {

SharedPtr<Element> readXml(Ferrule::InputStream& input, std::string& error)
{
    XMLParser parser;
    parser.setErrorOutput(nullptr);
    SharedPtr<Element> tree(parser.parse_raw(&input));
    if (char const* const cause = parser.getErrorString()) {
        error = "line " + std::to_string(parser.getErrorLine()) + ", column " +
                std::to_string(parser.getErrorColumn()) + ": " + cause;
        return {};
    }
    if (!tree.get())
        error = "the root tag is none of those of a value";
    return tree;
}

bool holdsDescriptor(Element* value)
{
    bool found = false;
    FileDescriptorVisitor visitor(
        [](void* context, FileDescriptorElem*, std::string const&) { *static_cast<bool*>(context) = true; },
        &found, "");
    value->accept(&visitor);
    return found;
}

// A reader of XML makes a line end of each carriage return, and in an attribute a blank of each white space,
// unless they are written as numbers. Quotation marks stand around attributes only; in a text they are
// replaced.
std::string keepWhiteSpace(std::string const& document)
{
    std::string kept;
    kept.reserve(document.size());
    bool inAttribute = false;
    for (char const c : document) {
        inAttribute = inAttribute != (c == '"');
        if (c == '\r' || (inAttribute && (c == '\n' || c == '\t')))
            kept += "&#" + std::to_string(c) + ";";
        else
            kept += c;
    }
    return kept;
}

// The writers leave it to us to care for what a form cannot hold: it would be cut off, or the document would be
// none. `read` is what a reader makes of what has been written.
bool holdsWhole(Element* value, SharedPtr<Element> const& read, std::string& error)
{
    if (!read.get()) {
        error = "a reader would stop at " + error;
        return false;
    }
    error = differenceOf(value, read.get());
    return error.empty();
}

bool writeXml(Element* value, std::string& out, std::string& error)
{
    if (holdsDescriptor(value)) {
        error = "XML has no form for an open descriptor";
        return false;
    }
    XMLVisitor writer;
    value->accept(&writer);
    out = keepWhiteSpace(writer.getResult()) + "\n";
    Ferrule::ByteArrayInputStream written(out.data(), static_cast<int>(out.size()));
    return holdsWhole(value, readXml(written, error), error);
}

bool writeMessage(TreeForm form, Element* value, std::string& out, std::string& error)
{
    if (!messageOfValue(value, out, error) || !holdsWhole(value, valueOfMessage(out, error), error))
        return false;
    if (form == TreeForm::kHex)
        out = hexOfBytes(out);
    return true;
}

std::string readableTree(Element* value)
{
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const stream = open_memstream(&text, &length);
    if (!stream)
        return {};
    value->print(stream, "");
    std::fclose(stream);
    std::string lines(text, length);
    std::free(text);
    static constexpr std::string_view kLineEnd = " \r\n";
    std::string plain;
    std::size_t begin = 0;
    for (std::size_t end; (end = lines.find(kLineEnd, begin)) != std::string::npos;
         begin = end + kLineEnd.size())
        plain.append(lines, begin, end - begin) += '\n';
    plain.append(lines, begin);
    return readableText(plain, true);
}

} // namespace

char const* nameOf(TreeForm form)
{
    switch (form) {
    case TreeForm::kJson:
        return "JSON";
    case TreeForm::kXml:
        return "XML";
    case TreeForm::kHex:
        return "a message in hexadecimal";
    default:
        return "a message";
    }
}

bool readAll(Ferrule::InputStream& input, std::string& all, std::string& error)
{
    char block[4096];
    int length;
    do {
        length = input.read(block, sizeof block);
        all.append(block, static_cast<std::size_t>(length));
    } while (length == static_cast<int>(sizeof block) && all.size() <= kMaxFileBytes);
    if (all.size() <= kMaxFileBytes)
        return true;
    error = "larger than " + std::to_string(kMaxFileBytes >> 20) + " MiB";
    return false;
}

SharedPtr<Element> readTree(TreeForm form, Ferrule::InputStream& input, std::string& error)
{
    switch (form) {
    case TreeForm::kJson:
        return readJson(input, error);
    case TreeForm::kXml:
        return readXml(input, error);
    default: {
        std::string all;
        if (!readAll(input, all, error))
            return {};
        std::string bytes;
        if (form == TreeForm::kHex && !bytesOfHex(all, bytes, error))
            return {};
        return valueOfMessage(form == TreeForm::kHex ? bytes : all, error);
    }
    }
}

bool writeTree(TreeForm form, Element* value, std::string& out, std::string& error)
{
    NullElem null;
    if (!value)
        value = &null;
    switch (form) {
    case TreeForm::kJson:
        out = jsonText(value) + "\n";
        return true;
    case TreeForm::kXml:
        return writeXml(value, out, error);
    case TreeForm::kText:
        out = readableTree(value);
        return true;
    default:
        return writeMessage(form, value, out, error);
    }
}
