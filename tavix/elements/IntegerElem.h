#ifndef TAVIX_ELEMENTS_INTEGERELEM_H
#define TAVIX_ELEMENTS_INTEGERELEM_H

#include <tavix/elements/TerminalElem.h>

#include <cstdint>

namespace Tavix {

// A 32-bit signed integer.
class TAVIX_API IntegerElem : public TerminalElem {
public:
    static constexpr char _type[] = "IntegerElem";

    explicit IntegerElem(int value);
    ~IntegerElem() override;

    using TerminalElem::setValue;
    bool setValue(int value) override;

    using TerminalElem::booleanValue;
    using TerminalElem::doubleValue;
    using TerminalElem::stringValue;
    std::string stringValue() const override;
    int intValue() const override;
    bool booleanValue() const override;
    int intValue(TvxResult& result) const override;
    double doubleValue(TvxResult& result) const override;
    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

private:
    std::int32_t _value;
};

} // namespace Tavix

#endif
