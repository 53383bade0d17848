#ifndef TAVIX_ELEMENTS_EXCEPTIONELEM_H
#define TAVIX_ELEMENTS_EXCEPTIONELEM_H

#include <tavix/elements/TerminalElem.h>

namespace Tavix {

// A failure in the place of a value: a message, its text value, and a code, its integer value. On the wire
// the message ends at its first zero byte.
//
// Recognise it with isException(): instanceOf(ExceptionElem::_type) is false.
class TAVIX_API ExceptionElem : public TerminalElem {
public:
    static constexpr char _type[] = "ExceptionElem";

    ExceptionElem(std::string const& message, int code);
    ~ExceptionElem() override;

    using TerminalElem::setValue;
    // Sets the code.
    bool setValue(int value) override;
    // Sets the message.
    bool setValue(std::string const& value) override;

    using TerminalElem::stringValue;
    std::string stringValue() const override;
    int intValue() const override;
    int intValue(TvxResult& result) const override;
    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool isException() const override;

    // The message without a copy. Lends: valid until the value changes.
    std::string const& message() const { return _message; }

private:
    std::string _message;
    int _code;
};

} // namespace Tavix

#endif
