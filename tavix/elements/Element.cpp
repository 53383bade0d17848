#include "tavix/elements/Element.h"

#include "tavix/elements/ElementIterator.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <strings.h>

namespace Tavix {

namespace {

constexpr int kPrintLevels = 25;

} // namespace

Element* Element::getChild(std::string const&) const
{
    return nullptr;
}

Element* Element::getChild(unsigned) const
{
    return nullptr;
}

bool Element::hasChild(std::string const& name) const
{
    return getChild(name) != nullptr;
}

bool Element::hasChild(unsigned index) const
{
    return getChild(index) != nullptr;
}

int Element::getNumChildren() const
{
    return -1;
}

bool Element::setValue(int)
{
    return false;
}

bool Element::setValue(std::string const&)
{
    return false;
}

bool Element::setValue(bool)
{
    return false;
}

bool Element::setValue(double)
{
    return false;
}

bool Element::setValue(char const* value)
{
    return value && setValue(std::string(value));
}

std::string Element::stringValue() const
{
    return {};
}

int Element::intValue() const
{
    return -1;
}

bool Element::booleanValue() const
{
    return false;
}

double Element::doubleValue() const
{
    TvxResult unused;
    return doubleValue(unused);
}

unsigned char const* Element::binaryValue() const
{
    return nullptr;
}

unsigned Element::binaryLength() const
{
    return 0;
}

std::string Element::stringValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return stringValue();
}

int Element::intValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return intValue();
}

bool Element::booleanValue(TvxResult& result) const
{
    result = OPERATION_OK;
    return booleanValue();
}

double Element::doubleValue(TvxResult& result) const
{
    result = OPERATION_FAILED_NOT_SUPPORTED;
    return -1.0;
}

std::string Element::toString() const
{
    return {};
}

std::string Element::getChildName(Element* child)
{
    std::unique_ptr<ElementIterator> children(iterator(true));
    while (children && children->hasNext()) {
        std::string name = children->nextName();
        if (children->next() == child)
            return name;
    }
    return {};
}

Element* Element::clone() const
{
    return nullptr;
}

void Element::accept(ElementVisitor*)
{
}

bool Element::instanceOf(std::string const& type) const
{
    return type == _type;
}

bool Element::isMap() const
{
    return false;
}

bool Element::isException() const
{
    return false;
}

void Element::print(std::string name)
{
    print(stdout, std::move(name));
}

void Element::print(FILE* stream, std::string name)
{
    print(stream, std::string(), std::move(name), this, kPrintLevels);
}

void Element::print(FILE* stream, std::string indent, std::string name, Element* e, int level)
{
    // A null child shows as the null element that it becomes on the wire.
    std::fprintf(stream, "%s %s : %s \r\n", indent.c_str(), name.c_str(),
                 e ? e->toString().c_str() : ":null");
    if (level - 1 < 0) {
        std::fputs("MAX NUMBER OF LEVEL REACHED!\r\n", stream);
        return;
    }
    std::unique_ptr<ElementIterator> children(e ? e->iterator(true) : nullptr);
    indent += "   ";
    while (children && children->hasNext()) {
        std::string childName = children->nextName();
        print(stream, indent, std::move(childName), children->next(), level - 1);
    }
}

bool Element::toBoolean(char const* text) const
{
    if (!text)
        return false;
    for (char const* word : {"true", "yes", "y"})
        if (strcasecmp(text, word) == 0)
            return true;
    char* end;
    long const number = std::strtol(text, &end, 0);
    if (end == text)
        return false;
    return (*end == '\0' || std::isspace(static_cast<unsigned char>(*end))) && number != 0;
}

} // namespace Tavix
