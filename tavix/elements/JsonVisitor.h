#ifndef TAVIX_ELEMENTS_JSONVISITOR_H
#define TAVIX_ELEMENTS_JSONVISITOR_H

#include <tavix/elements/ElementVisitor.h>
#include <tavix/foundation/Export.h>

#include <string>
#include <string_view>

namespace Tavix {

class Element;

// Writes a tree as compact JSON text. Kinds that JSON lacks take another form: bytes become a text in base64,
// an exception an object with "exceptionstring" and "exceptioninteger", a descriptor nothing at all. Doubles
// have six decimals and at most 31 characters. A null child is written as null. Texts lose the control
// characters that JSON has no short form for; their bytes from 0x80 up pass unchanged.
//
// A visitor only appends: a second walk continues the text.
class TAVIX_API JsonVisitor : public ElementVisitor {
public:
    JsonVisitor();
    ~JsonVisitor() override;

    // Lends `e` for the call; null is written as null.
    static std::string toJsonString(Element* e);

    // The quoted JSON form of a text.
    static std::string escapeString(std::string const& text);

    std::string getString() const;

    void visitorAtMapElem(MapElem* element) override;
    void visitorAtListElem(ListElem* element) override;
    void visitorAtIntegerElem(IntegerElem* element) override;
    void visitorAtBooleanElem(BooleanElem* element) override;
    void visitorAtDoubleElem(DoubleElem* element) override;
    void visitorAtStringElem(StringElem* element) override;
    void visitorAtBinaryElem(BinaryElem* element) override;
    void visitorAtNullElem(NullElem* element) override;
    void visitorAtExceptionElem(ExceptionElem* element) override;
    void visitorAtFileDescriptorElem(FileDescriptorElem* element) override;

    // There is no binary form: answers 0 and leaves *out alone.
    int encode(char** out) override;

private:
    void addChild(Element* child);

    std::string _text;
};

} // namespace Tavix

#endif
