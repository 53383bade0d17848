#include "tavix/elements/StringElem.h"

#include "tavix/elements/ElementVisitor.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace Tavix {

template <class From>
StringElem::Text StringElem::_makeText(From&& from)
{
    if (from.size() <= sizeof(Short::bytes))
        return Text(std::in_place_type<Short>, from);
    return Text(std::in_place_type<std::string>, std::forward<From>(from));
}

StringElem::StringElem(std::string const& value) : _text(_makeText(value))
{
}

StringElem::StringElem(std::string&& value) : _text(_makeText(std::move(value)))
{
}

StringElem::StringElem(std::string_view value) : _text(_makeText(value))
{
}

StringElem::StringElem(char const* value) : _text(_makeText(std::string_view(value ? value : "")))
{
}

StringElem::StringElem(SharedBytes const& value) : _text(value)
{
}

StringElem::~StringElem() = default;

bool StringElem::setValue(std::string const& value)
{
    _text = _makeText(value);
    return true;
}

std::string StringElem::stringValue() const
{
    return std::string(text());
}

SharedBytes const& StringElem::share() const
{
    if (auto const* const shared = std::get_if<SharedBytes>(&_text))
        return *shared;
    auto const kept = std::make_shared<std::string>();
    if (auto* const longText = std::get_if<std::string>(&_text))
        kept->swap(*longText); // nothing can fail from here on
    else
        kept->assign(text());
    return _text.emplace<SharedBytes>(SharedBytes{kept, kept->data(), kept->size()});
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
