#include "tavix/elements/NonterminalElem.h"

namespace Tavix {

bool NonterminalElem::instanceOf(std::string const& type) const
{
    return type == _type || Element::instanceOf(type);
}

} // namespace Tavix
