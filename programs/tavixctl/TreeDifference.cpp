#include "tavixctl/TreeDifference.h"

#include <tavix/elements/DoubleElem.h>
#include <tavix/elements/ElementIterator.h>
#include <tavix/elements/NullElem.h>

#include <cmath>
#include <memory>
#include <typeinfo>

using namespace Tavix;

namespace {

bool isClose(double value, double copy)
{
    if (std::isnan(value) || std::isinf(value))
        return std::isnan(value) ? std::isnan(copy) : copy == value;
    return std::fabs(value - copy) <= 0.51e-6 + std::fabs(value) * 1e-16;
}

bool isSameTerminal(Element* value, Element* copy)
{
    if (typeid(*value) == typeid(DoubleElem))
        return isClose(value->doubleValue(), copy->doubleValue());
    return value->toString() == copy->toString();
}

std::string lost(std::string const& what, std::string const& place)
{
    return "the " + what + " at " + place + " cannot be kept whole";
}

std::string difference(Element* value, Element* copy, std::string const& place)
{
    static NullElem null; // what a missing child becomes
    value = value ? value : &null;
    copy = copy ? copy : &null;
    if (typeid(*value) != typeid(*copy))
        return lost("value", place);
    std::unique_ptr<ElementIterator> const left(value->iterator(true));
    std::unique_ptr<ElementIterator> const right(copy->iterator(true));
    if (!left || !right)
        return isSameTerminal(value, copy)
                   ? ""
                   : lost(dynamic_cast<DoubleElem*>(value) ? "double" : "text", place);
    while (left->hasNext() && right->hasNext()) {
        std::string const name = left->nextName();
        if (name != right->nextName())
            return lost("key \"" + name + "\"", place);
        std::string found = difference(left->next(), right->next(), place + "/" + name);
        if (!found.empty())
            return found;
    }
    return left->hasNext() || right->hasNext() ? lost("container", place) : "";
}

} // namespace

std::string differenceOf(Element* value, Element* copy)
{
    return difference(value, copy, "#");
}
