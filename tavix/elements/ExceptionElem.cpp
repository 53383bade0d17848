#include "tavix/elements/ExceptionElem.h"

#include "tavix/elements/ElementText.h"
#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

ExceptionElem::ExceptionElem(std::string const& message, int code) : _message(message), _code(code)
{
}

ExceptionElem::~ExceptionElem() = default;

bool ExceptionElem::setValue(int value)
{
    _code = value;
    return true;
}

bool ExceptionElem::setValue(std::string const& value)
{
    _message = value;
    return true;
}

std::string ExceptionElem::stringValue() const
{
    return _message;
}

int ExceptionElem::intValue() const
{
    return _code;
}

int ExceptionElem::intValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return _code;
}

std::string ExceptionElem::toString() const
{
    return ":x " + iToString(_code) + ":" + _message;
}

Element* ExceptionElem::clone() const
{
    try {
        return new ExceptionElem(_message, _code);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void ExceptionElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtExceptionElem(this);
}

bool ExceptionElem::isException() const
{
    return true;
}

} // namespace Tavix
