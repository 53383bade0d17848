#ifndef TAVIX_ELEMENTS_XMLPARSER_H
#define TAVIX_ELEMENTS_XMLPARSER_H

#include <tavix/foundation/Export.h>
#include <tavix/foundation/InputStream.h>

#include <cstdio>
#include <memory>

namespace Tavix {

class Element;

// Reads what XMLVisitor writes:
//
//     Tavix::XMLParser parser;
//     std::unique_ptr<Tavix::Element> tree(parser.parse_raw(text.data(), static_cast<int>(text.size())));
//     if (parser.getErrorString())
//         ... parser.getErrorLine()
//
// Takes any well-formed XML 1.0 document in the encodings of Expat, builds what it knows and drops the rest:
//
// - A tag that it does not know goes with everything inside it, after a line on standard output; so does,
//   silently, a value inside a tag that holds no value.
// - <child> holds one value, the last one inside it, and hands it up: into a map under its name, into a list
//   as the next entry. A value in a map without <child> gets the empty name. Of two equal names the later wins.
// - A number that is none reads as 0, and bytes that are no base64 are skipped.
//
// A document ends in an error when it is not well formed, declares an entity of its own or refers to one that
// is declared elsewhere, nests deeper than kMaxOpenTags tags or kMaxNesting containers, or holds more than
// kMaxDocumentBytes (Limits.h). Nothing outside the document is ever loaded.
//
// Serves one parse at a time on one thread, and the next one after any outcome.
class TAVIX_API XMLParser {
public:
    XMLParser();
    XMLParser(XMLParser const&) = delete;
    XMLParser& operator=(XMLParser const&) = delete;
    ~XMLParser();

    // Reads the document and gives back its tree; null when no root was finished. The tree of a root that was
    // finished before an error is given back too. After an error one line tells the cause and the line number
    // on standard error. Lends the stream, which is read to its end in blocks of 4096 bytes; a shorter block
    // is the last one. An exception of the stream passes through.
    Element* parse_raw(Ferrule::InputStream* stream);
    // The same for a document in memory, lent for the call.
    Element* parse_raw(char const* data, int length);

    // Where the line about an error goes: standard error at first, null for nowhere. Lends the stream, for as
    // long as the parser is used.
    void setErrorOutput(FILE* stream);

    // The cause that ended the last parse, null when none did, and where: line and column begin at 1, the
    // column counts characters.
    char const* getErrorString() const;
    long getErrorLine() const;
    long getErrorColumn() const;

    // Expat's callbacks; userData is the XMLParser.
    static void startElement(void* userData, char const* name, char const** attributes);
    static void endElement(void* userData, char const* name);
    static void charData(void* userData, char const* text, int length);

private:
    struct Document;

    std::unique_ptr<Document> _document;
};

} // namespace Tavix

#endif
