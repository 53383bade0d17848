#ifndef TAVIX_ELEMENTS_NONTERMINALELEM_H
#define TAVIX_ELEMENTS_NONTERMINALELEM_H

#include <tavix/elements/Element.h>

namespace Tavix {

// The base of the containers.
class TAVIX_API NonterminalElem : public Element {
public:
    static constexpr char _type[] = "NonterminalElem";

    ~NonterminalElem() override = default;

    bool instanceOf(std::string const& type) const override;

protected:
    NonterminalElem() = default;
    NonterminalElem(NonterminalElem const&) = default;
    NonterminalElem& operator=(NonterminalElem const&) = default;
};

} // namespace Tavix

#endif
