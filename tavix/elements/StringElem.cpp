#include "tavix/elements/StringElem.h"

#include "tavix/elements/ElementVisitor.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace Tavix {

StringElem::StringElem(std::string const& value) : _value(value)
{
}

StringElem::StringElem(std::string&& value) : _value(std::move(value))
{
}

StringElem::StringElem(std::string_view value) : _value(value)
{
}

StringElem::StringElem(char const* value) : _value(value ? value : "")
{
}

StringElem::StringElem(SharedBytes const& value) : _shared(new SharedBytes(value))
{
}

StringElem::~StringElem() = default;

bool StringElem::setValue(std::string const& value)
{
    _value = value;
    _shared.reset();
    return true;
}

std::string StringElem::stringValue() const
{
    return std::string(text());
}

SharedBytes const& StringElem::share() const
{
    if (!_shared) {
        auto shared = std::make_unique<SharedBytes>();
        auto const kept = std::make_shared<std::string>();
        kept->swap(_value); // nothing can fail from here on
        *shared = SharedBytes{kept, kept->data(), kept->size()};
        _shared = std::move(shared);
    }
    return *_shared;
}

int StringElem::intValue() const
{
    TvxResult result;
    int const value = intValue(result);
    return result == OPERATION_OK ? value : 0;
}

int StringElem::intValue(TvxResult& result) const
{
    std::string const terminated(text());
    char* end;
    long long const value = std::strtoll(terminated.c_str(), &end, 0);
    // Compared by length: a zero byte inside the text ends the number, not the text.
    if (end != terminated.c_str() + terminated.size()) {
        result = OPERATION_FAILED_NOT_SUPPORTED;
        return -1;
    }
    result = OPERATION_OK;
    return static_cast<int>(value);
}

bool StringElem::booleanValue() const
{
    return toBoolean(stringValue().c_str());
}

std::string StringElem::toString() const
{
    return std::string(": ").append(text());
}

Element* StringElem::clone() const
{
    try {
        return text().size() < kSharedLength ? new StringElem(text()) : new StringElem(share());
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void StringElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtStringElem(this);
}

bool StringElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
