#ifndef TAVIX_ELEMENTS_XMLVISITOR_H
#define TAVIX_ELEMENTS_XMLVISITOR_H

#include <tavix/elements/ElementVisitor.h>
#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

class Element;

// Writes a tree as XML 1.0 in UTF-8. Each element stands on a line of its own under a tag named after its
// class, a child of a map inside <child name="...">; nothing is indented. XMLParser reads the same tree back:
//
//     Tavix::XMLVisitor writer;
//     tree->accept(&writer);
//     std::string document = writer.getResult();
//
// Doubles have six decimals and at most 23 characters. Texts, messages and names end at their first zero
// byte; their other bytes pass as they are, so they should be UTF-8 without control characters: XML has no
// form for these, and a reader takes a carriage return, and a line end or tab in a name, for another white
// space. A null child is written as NullElem. A descriptor has no form: it stops the process.
//
// A visitor only appends: a second walk adds a second tree behind the first, without a prolog.
class TAVIX_API XMLVisitor : public ElementVisitor {
public:
    XMLVisitor();
    // Lends `out`, which outlives the visitor. What it holds stays in front.
    explicit XMLVisitor(std::string& out);
    XMLVisitor(XMLVisitor const&) = delete;
    XMLVisitor& operator=(XMLVisitor const&) = delete;
    ~XMLVisitor() override;

    // Goes on in `out`, which is lent as above, with a new prolog.
    void init(std::string& out);

    // A copy of the output, with what a lent text held before.
    std::string getResult() const;

    void visitorAtMapElem(MapElem* element) override;
    void visitorAtListElem(ListElem* element) override;
    void visitorAtIntegerElem(IntegerElem* element) override;
    void visitorAtBooleanElem(BooleanElem* element) override;
    void visitorAtDoubleElem(DoubleElem* element) override;
    void visitorAtStringElem(StringElem* element) override;
    void visitorAtBinaryElem(BinaryElem* element) override;
    void visitorAtNullElem(NullElem* element) override;
    void visitorAtExceptionElem(ExceptionElem* element) override;

    // Gives back a copy of the output in a malloc block in *out, for the caller to free, and its length in
    // bytes; no zero stands behind it. Without memory *out is null and the answer 0.
    int encode(char** out) override;

    // Appends a line end, if wanted, and the tag as it stands.
    void writeElementTag(char const* tag, bool newLine);
    // Appends the text as it stands.
    void writeElementText(char const* text);
    // Appends `in` to `out` with the five characters that have a meaning in XML replaced.
    void escapeXMLString(std::string const& in, std::string& out);

private:
    void writeChild(Element* child);

    std::string* _out; // lent, or _text
    std::string _text;
};

} // namespace Tavix

#endif
