#include "tavix/elements/NullElem.h"

#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

NullElem::NullElem() = default;

NullElem::~NullElem() = default;

std::string NullElem::toString() const
{
    return ":null";
}

Element* NullElem::clone() const
{
    return new (std::nothrow) NullElem;
}

void NullElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtNullElem(this);
}

bool NullElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
