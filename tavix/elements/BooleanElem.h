#ifndef TAVIX_ELEMENTS_BOOLEANELEM_H
#define TAVIX_ELEMENTS_BOOLEANELEM_H

#include <tavix/elements/TerminalElem.h>

namespace Tavix {

// A truth value. As a text it is "true" or "false", as an integer 1 or 0.
class TAVIX_API BooleanElem : public TerminalElem {
public:
    static constexpr char _type[] = "BooleanElem";

    explicit BooleanElem(bool value);
    ~BooleanElem() override;

    using TerminalElem::setValue;
    bool setValue(int value) override;
    bool setValue(bool value) override;

    using TerminalElem::booleanValue;
    using TerminalElem::stringValue;
    std::string stringValue() const override;
    int intValue() const override;
    bool booleanValue() const override;
    int intValue(TvxResult& result) const override;
    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

private:
    bool _value;
};

} // namespace Tavix

#endif
