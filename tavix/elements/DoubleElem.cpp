#include "tavix/elements/DoubleElem.h"

#include "tavix/elements/ElementText.h"
#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

DoubleElem::DoubleElem(double value) : _value(value)
{
}

DoubleElem::~DoubleElem() = default;

bool DoubleElem::setValue(int value)
{
    _value = value;
    return true;
}

bool DoubleElem::setValue(double value)
{
    _value = value;
    return true;
}

std::string DoubleElem::stringValue() const
{
    return fToString(static_cast<float>(_value));
}

double DoubleElem::doubleValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return _value;
}

int DoubleElem::intValue(TvxResult& result) const
{
    // A conversion out of range is undefined, so it must not be tried. The bounds are exact in a double; a
    // number that is none fails both comparisons.
    if (!(_value > -2147483649.0 && _value < 2147483648.0)) {
        result = OPERATION_FAILED_NOT_SUPPORTED;
        return -1;
    }
    result = OPERATION_OK;
    return static_cast<int>(_value);
}

std::string DoubleElem::toString() const
{
    return ":d " + stringValue();
}

Element* DoubleElem::clone() const
{
    return new (std::nothrow) DoubleElem(_value);
}

void DoubleElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtDoubleElem(this);
}

bool DoubleElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
