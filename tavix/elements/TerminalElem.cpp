#include "tavix/elements/TerminalElem.h"

#include "tavix/foundation/Check.h"

namespace Tavix {

namespace {

[[noreturn]] void refuseChild(char const* operation, Element* e)
{
    delete e;
    std::fprintf(stderr, "TerminalElem::%s()\n", operation);
    std::fflush(stderr);
    Ferrule::checkFailed("false", __FILE__, __LINE__, operation);
}

} // namespace

ElementIterator* TerminalElem::iterator(bool)
{
    return nullptr;
}

TvxResult TerminalElem::addChild(std::string const&, Element* e)
{
    refuseChild("addChild", e);
}

TvxResult TerminalElem::addChild(unsigned, Element* e)
{
    refuseChild("addChild", e);
}

TvxResult TerminalElem::setChild(std::string const&, Element* e)
{
    refuseChild("setChild", e);
}

TvxResult TerminalElem::setChild(unsigned, Element* e)
{
    refuseChild("setChild", e);
}

Element* TerminalElem::removeChild(std::string const&, TvxResult& result)
{
    result = OPERATION_FAILED_NOT_SUPPORTED;
    return nullptr;
}

Element* TerminalElem::removeChild(unsigned, TvxResult& result)
{
    result = OPERATION_FAILED_NOT_SUPPORTED;
    return nullptr;
}

TvxResult TerminalElem::removeChildren()
{
    return OPERATION_FAILED_NOT_SUPPORTED;
}

bool TerminalElem::instanceOf(std::string const& type) const
{
    return type == _type || Element::instanceOf(type);
}

} // namespace Tavix
