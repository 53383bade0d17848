#ifndef TAVIX_ELEMENTS_NULLELEM_H
#define TAVIX_ELEMENTS_NULLELEM_H

#include <tavix/elements/TerminalElem.h>

namespace Tavix {

// The absence of a value.
class TAVIX_API NullElem : public TerminalElem {
public:
    static constexpr char _type[] = "NullElem";

    NullElem();
    ~NullElem() override;

    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;
};

} // namespace Tavix

#endif
