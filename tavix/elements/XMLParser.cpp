#include "tavix/elements/XMLParser.h"

#include "tavix/elements/Base64Internal.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/DoubleTextInternal.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tavix {

namespace {

constexpr int kBlockSize = 4096;

enum Kind {
    kUnknown,
    kChild,
    kList,
    kMap,
    kInteger,
    kString,
    kBoolean,
    kDouble,
    kNull,
    kBinary,
    kException,
};

Kind kindOf(std::string_view tag)
{
    static constexpr struct {
        std::string_view tag;
        Kind kind;
    } kKinds[] = {
        {"child", kChild},
        {StringElem::_type, kString},
        {IntegerElem::_type, kInteger},
        {MapElem::_type, kMap},
        {BooleanElem::_type, kBoolean},
        {ListElem::_type, kList},
        {DoubleElem::_type, kDouble},
        {NullElem::_type, kNull},
        {BinaryElem::_type, kBinary},
        {ExceptionElem::_type, kException},
    };
    for (auto const& known : kKinds)
        if (tag == known.tag)
            return known.kind;
    return kUnknown;
}

bool isContainer(Kind kind)
{
    return kind == kList || kind == kMap;
}

bool hasText(Kind kind)
{
    return kind == kInteger || kind == kString || kind == kBoolean || kind == kDouble || kind == kBinary ||
           kind == kException;
}

// The one attribute that a tag of this kind has, null for none.
char const* attributeOf(Kind kind)
{
    return kind == kChild ? "name" : kind == kException ? "value" : nullptr;
}

// An open tag.
struct ElementData {
    Kind type;
    std::string text;                 // the characters directly inside
    std::unique_ptr<Element> element; // of a container the container, of a child its value
    std::string attribute;
};

Element* newBinary(std::string_view text)
{
    std::size_t const room = text.size() / 4 * 3;
    std::unique_ptr<unsigned char, decltype(&std::free)> bytes(
        static_cast<unsigned char*>(std::malloc(room + 1)), std::free);
    if (!bytes)
        throw std::bad_alloc();
    unsigned const length = static_cast<unsigned>(decodeBase64(text, bytes.get()));
    auto* const element = new BinaryElem(bytes.get(), length);
    bytes.release();
    return element;
}

// The value that a closed tag stands for, null for none.
std::unique_ptr<Element> finish(ElementData& tag)
{
    switch (tag.type) {
    case kInteger:
        return std::make_unique<IntegerElem>(StringToi(tag.text));
    case kString:
        return std::make_unique<StringElem>(std::move(tag.text));
    case kBoolean:
        return std::make_unique<BooleanElem>(StringElem(std::move(tag.text)).booleanValue());
    case kDouble:
        return std::make_unique<DoubleElem>(parseDouble(tag.text));
    case kNull:
        return std::make_unique<NullElem>();
    case kBinary:
        return std::unique_ptr<Element>(newBinary(tag.text));
    case kException:
        return std::make_unique<ExceptionElem>(tag.text, StringToi(tag.attribute));
    default:
        return std::move(tag.element);
    }
}

} // namespace

// The parse that is under way, and how the last one ended.
struct TAVIX_HIDDEN XMLParser::Document {
    struct Free {
        void operator()(XML_Parser expat) const { XML_ParserFree(expat); }
    };

    std::unique_ptr<XML_ParserStruct, Free> parser;
    std::vector<ElementData> stack; // the innermost tag at the back
    std::unique_ptr<Element> root;
    unsigned containers = 0; // on the stack
    std::size_t size = 0;    // by the measure of kMaxDocumentBytes
    std::size_t silent = 0;  // bytes read since Expat last reported something
    bool stopped = false;    // Expat may report a little more behind that
    FILE* errorOutput = stderr;
    char const* error = nullptr;
    long errorLine = 0;
    long errorColumn = 0;

    void open(char const* name, char const** attributes);
    void close();
    void addText(char const* text, std::size_t length);
    void attach(ElementData& tag, std::unique_ptr<Element> value);
    void grow(std::size_t bytes);
    void stop(char const* why);
    bool begin(XMLParser* owner);
    bool parseBlock(Ferrule::InputStream& stream);
    void parseAll(char const* data, int length);
    Element* end();
    void fail(char const* why);
    void report(char const* why);

    template <class Step>
    static void guarded(void* userData, Step step);
    static void entityDeclared(void* userData, char const*, int, char const*, int, char const*, char const*,
                               char const*, char const*);
    static void entitySkipped(void* userData, char const*, int);
};

void XMLParser::Document::open(char const* name, char const** attributes)
{
    ElementData tag{kindOf(name), {}, nullptr, {}};
    grow(kBytesPerTag);
    if (tag.type == kUnknown) {
        std::puts("UNKNOWN TYPE\r");
        grow(std::strlen(name));
    }
    char const* const wanted = attributeOf(tag.type);
    for (; *attributes; attributes += 2) {
        if (wanted && std::strcmp(*attributes, wanted) == 0) {
            tag.attribute = attributes[1];
            grow(tag.attribute.size());
        } else {
            grow(kBytesPerTag + std::strlen(*attributes));
        }
    }
    if (tag.type == kList)
        tag.element = std::make_unique<ListElem>();
    else if (tag.type == kMap)
        tag.element = std::make_unique<MapElem>();
    containers += isContainer(tag.type) ? 1 : 0;
    stack.push_back(std::move(tag));
    if (containers > kMaxNesting || stack.size() > kMaxOpenTags)
        stop("nested too deep");
}

void XMLParser::Document::addText(char const* text, std::size_t length)
{
    if (stack.empty() || !hasText(stack.back().type))
        return;
    grow(length);
    stack.back().text.append(text, length);
}

void XMLParser::Document::close()
{
    if (stack.empty())
        return;
    ElementData tag = std::move(stack.back());
    stack.pop_back();
    containers -= isContainer(tag.type) ? 1 : 0;
    if (std::unique_ptr<Element> value = finish(tag))
        attach(tag, std::move(value));
}

void XMLParser::Document::attach(ElementData& tag, std::unique_ptr<Element> value)
{
    if (stack.empty()) {
        root = std::move(value);
        return;
    }
    ElementData& parent = stack.back();
    bool attached = true;
    if (parent.type == kList)
        attached = static_cast<ListElem*>(parent.element.get())->add(value.release()) != nullptr;
    else if (parent.type == kMap)
        attached =
            static_cast<MapElem*>(parent.element.get())
                ->put(tag.type == kChild ? tag.attribute : std::string(), value.release()) == OPERATION_OK;
    else if (parent.type == kChild)
        parent.element = std::move(value);
    if (!attached)
        throw std::bad_alloc();
}

void XMLParser::Document::grow(std::size_t bytes)
{
    size += bytes;
    if (size > kMaxDocumentBytes)
        stop("document too large");
}

// Without a text of our own, Expat's for a parse that was stopped is used.
void XMLParser::Document::stop(char const* why)
{
    stopped = true;
    error = why;
    if (parser)
        XML_StopParser(parser.get(), XML_FALSE);
}

// Whatever the last parse has left is dropped.
bool XMLParser::Document::begin(XMLParser* owner)
{
    stack.clear();
    root.reset();
    containers = 0;
    size = silent = 0;
    stopped = false;
    error = nullptr;
    errorLine = errorColumn = 0;
    parser.reset(XML_ParserCreate(nullptr));
    if (!parser) {
        report("out of memory");
        return false;
    }
    XML_SetUserData(parser.get(), owner);
    XML_SetElementHandler(parser.get(), startElement, endElement);
    XML_SetCharacterDataHandler(parser.get(), charData);
    XML_SetEntityDeclHandler(parser.get(), entityDeclared);
    XML_SetSkippedEntityHandler(parser.get(), entitySkipped);
    return true;
}

Element* XMLParser::Document::end()
{
    stack.clear();
    parser.reset();
    return root.release();
}

// False behind the last block and behind an error. Expat keeps what it cannot report yet, such as a tag without
// an end, so that is bounded too.
bool XMLParser::Document::parseBlock(Ferrule::InputStream& stream)
{
    void* const block = XML_GetBuffer(parser.get(), kBlockSize);
    int const length = block ? stream.read(static_cast<char*>(block), kBlockSize) : 0;
    if (length < 0) {
        fail("read error");
        return false;
    }
    silent += static_cast<std::size_t>(length);
    if (!block || XML_ParseBuffer(parser.get(), length, length < kBlockSize) != XML_STATUS_OK) {
        fail(error ? error : XML_ErrorString(XML_GetErrorCode(parser.get())));
        return false;
    }
    if (silent > kMaxDocumentBytes) {
        fail("document too large");
        return false;
    }
    return length == kBlockSize;
}

// At once: between two blocks Expat would count lines.
void XMLParser::Document::parseAll(char const* data, int length)
{
    if (XML_Parse(parser.get(), data, data ? std::max(length, 0) : 0, XML_TRUE) != XML_STATUS_OK)
        fail(error ? error : XML_ErrorString(XML_GetErrorCode(parser.get())));
}

void XMLParser::Document::fail(char const* why)
{
    errorLine = static_cast<long>(XML_GetCurrentLineNumber(parser.get()));
    errorColumn = static_cast<long>(XML_GetCurrentColumnNumber(parser.get())) + 1;
    report(why);
}

void XMLParser::Document::report(char const* why)
{
    error = why;
    if (errorOutput)
        std::fprintf(errorOutput, "%s at line %ld\n", error, errorLine);
}

// Nothing may be thrown through Expat.
template <class Step>
void XMLParser::Document::guarded(void* userData, Step step)
{
    Document& document = *static_cast<XMLParser*>(userData)->_document;
    document.silent = 0;
    if (document.stopped)
        return;
    try {
        step(document);
    } catch (std::bad_alloc const&) {
        document.stop("out of memory");
    }
}

void XMLParser::startElement(void* userData, char const* name, char const** attributes)
{
    Document::guarded(userData, [&](Document& document) { document.open(name, attributes); });
}

void XMLParser::endElement(void* userData, char const*)
{
    Document::guarded(userData, [](Document& document) { document.close(); });
}

void XMLParser::charData(void* userData, char const* text, int length)
{
    Document::guarded(userData,
                      [&](Document& document) { document.addText(text, static_cast<std::size_t>(length)); });
}

// A few lines of entities can stand for any amount of text, so there are none but those of XML itself.
void XMLParser::Document::entityDeclared(void* userData, char const*, int, char const*, int, char const*,
                                         char const*, char const*, char const*)
{
    guarded(userData, [](Document& document) { document.stop(nullptr); });
}

// Expat would leave out without a word what an unread part of the document may declare.
void XMLParser::Document::entitySkipped(void* userData, char const*, int)
{
    guarded(userData, [](Document& document) { document.stop(XML_ErrorString(XML_ERROR_UNDEFINED_ENTITY)); });
}

XMLParser::XMLParser() : _document(new Document)
{
}

XMLParser::~XMLParser() = default;

Element* XMLParser::parse_raw(Ferrule::InputStream* stream)
{
    if (!_document->begin(this))
        return nullptr;
    while (_document->parseBlock(*stream)) {
    }
    return _document->end();
}

Element* XMLParser::parse_raw(char const* data, int length)
{
    if (!_document->begin(this))
        return nullptr;
    _document->parseAll(data, length);
    return _document->end();
}

void XMLParser::setErrorOutput(FILE* stream)
{
    _document->errorOutput = stream;
}

char const* XMLParser::getErrorString() const
{
    return _document->error;
}

long XMLParser::getErrorLine() const
{
    return _document->errorLine;
}

long XMLParser::getErrorColumn() const
{
    return _document->errorColumn;
}

} // namespace Tavix
