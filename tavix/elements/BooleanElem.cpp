#include "tavix/elements/BooleanElem.h"

#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

BooleanElem::BooleanElem(bool value) : _value(value)
{
}

BooleanElem::~BooleanElem() = default;

bool BooleanElem::setValue(int value)
{
    _value = value != 0;
    return true;
}

bool BooleanElem::setValue(bool value)
{
    _value = value;
    return true;
}

std::string BooleanElem::stringValue() const
{
    return _value ? "true" : "false";
}

int BooleanElem::intValue() const
{
    return _value ? 1 : 0;
}

bool BooleanElem::booleanValue() const
{
    return _value;
}

int BooleanElem::intValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return intValue();
}

std::string BooleanElem::toString() const
{
    return ":b " + stringValue();
}

Element* BooleanElem::clone() const
{
    return new (std::nothrow) BooleanElem(_value);
}

void BooleanElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtBooleanElem(this);
}

bool BooleanElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
