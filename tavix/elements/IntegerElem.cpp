#include "tavix/elements/IntegerElem.h"

#include "tavix/elements/ElementText.h"
#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

IntegerElem::IntegerElem(int value) : _value(value)
{
}

IntegerElem::~IntegerElem() = default;

bool IntegerElem::setValue(int value)
{
    _value = value;
    return true;
}

std::string IntegerElem::stringValue() const
{
    return iToString(_value);
}

int IntegerElem::intValue() const
{
    return _value;
}

bool IntegerElem::booleanValue() const
{
    return _value != 0;
}

int IntegerElem::intValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return _value;
}

double IntegerElem::doubleValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return _value;
}

std::string IntegerElem::toString() const
{
    return ":i " + stringValue();
}

Element* IntegerElem::clone() const
{
    return new (std::nothrow) IntegerElem(_value);
}

void IntegerElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtIntegerElem(this);
}

bool IntegerElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
