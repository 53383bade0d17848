#ifndef TAVIX_ELEMENTS_TERMINALELEM_H
#define TAVIX_ELEMENTS_TERMINALELEM_H

#include <tavix/elements/Element.h>

namespace Tavix {

// The base of all leaves. A leaf has no children: adding or setting one is a fault of the calling program.
// The element passed is deleted, one line goes to the error stream and the process stops.
class TAVIX_API TerminalElem : public Element {
public:
    static constexpr char _type[] = "TerminalElem";

    ~TerminalElem() override = default;

    using Element::iterator;
    ElementIterator* iterator(bool ordered) override;
    TvxResult addChild(std::string const& name, Element* e) override;
    TvxResult addChild(unsigned index, Element* e) override;
    TvxResult setChild(std::string const& name, Element* e) override;
    TvxResult setChild(unsigned index, Element* e) override;
    Element* removeChild(std::string const& name, TvxResult& result) override;
    Element* removeChild(unsigned index, TvxResult& result) override;
    TvxResult removeChildren() override;
    bool instanceOf(std::string const& type) const override;

protected:
    TerminalElem() = default;
    TerminalElem(TerminalElem const&) = default;
    TerminalElem& operator=(TerminalElem const&) = default;
};

} // namespace Tavix

#endif
