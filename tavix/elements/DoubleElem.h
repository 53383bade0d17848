#ifndef TAVIX_ELEMENTS_DOUBLEELEM_H
#define TAVIX_ELEMENTS_DOUBLEELEM_H

#include <tavix/elements/TerminalElem.h>

namespace Tavix {

// A 64-bit floating point number.
class TAVIX_API DoubleElem : public TerminalElem {
public:
    static constexpr char _type[] = "DoubleElem";

    explicit DoubleElem(double value);
    ~DoubleElem() override;

    using TerminalElem::setValue;
    bool setValue(int value) override;
    bool setValue(double value) override;

    // Six decimals of the value narrowed to a float.
    using TerminalElem::stringValue;
    std::string stringValue() const override;

    using TerminalElem::doubleValue;
    double doubleValue(TvxResult& result) const override;

    // Truncated toward zero. -1 with OPERATION_FAILED_NOT_SUPPORTED when the number is out of the range of an
    // int or is not a number. The form without a result is -1 always.
    using TerminalElem::intValue;
    int intValue(TvxResult& result) const override;

    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

private:
    double _value;
};

} // namespace Tavix

#endif
