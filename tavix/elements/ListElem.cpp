#include "tavix/elements/ListElem.h"

#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ElementVisitor.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/StringElem.h"

#include <climits>
#include <cstdlib>
#include <new>

namespace Tavix {

namespace {

// A number beyond every index must not wrap round to a valid one.
unsigned indexOf(std::string const& name)
{
    long const index = std::strtol(name.c_str(), nullptr, 10);
    return index < 0 || index > static_cast<long>(UINT_MAX) ? UINT_MAX : static_cast<unsigned>(index);
}

TvxResult refuseIndex(char const* operation, Element* e)
{
    delete e;
    std::fprintf(stderr, "ListElem::%s() bad index, delete 'e'\n", operation);
    std::fflush(stderr);
    return OPERATION_INDEX_OUT_OF_BOUNDS;
}

} // namespace

ListElem::ListElem() = default;

// Delegating, so that the destructor cleans up when the copy runs out of memory half-way.
ListElem::ListElem(ListElem const& other) : ListElem()
{
    _children.reserve(other._children.size());
    for (Element const* child : other._children)
        _children.push_back(child ? child->clone() : nullptr);
}

ListElem::~ListElem()
{
    for (Element* child : _children)
        delete child;
}

Element* ListElem::getChild(std::string const& name) const
{
    return getChild(indexOf(name));
}

Element* ListElem::getChild(unsigned index) const
{
    return index < _children.size() ? _children[index] : nullptr;
}

ElementIterator* ListElem::iterator(bool)
{
    return new (std::nothrow) ListIterator(this);
}

TvxResult ListElem::addChild(std::string const& name, Element* e)
{
    return addChild(indexOf(name), e);
}

TvxResult ListElem::addChild(unsigned index, Element* e)
{
    if (index > _children.size())
        return refuseIndex("addChild", e);
    try {
        _children.insert(_children.begin() + index, e);
    } catch (std::bad_alloc const&) {
        delete e;
        return OPERATION_FAILED_OUT_OF_MEMORY;
    }
    return OPERATION_OK;
}

TvxResult ListElem::setChild(std::string const& name, Element* e)
{
    return setChild(indexOf(name), e);
}

TvxResult ListElem::setChild(unsigned index, Element* e)
{
    if (index >= _children.size())
        return refuseIndex("setChild", e);
    Element* const old = _children[index];
    _children[index] = e;
    if (old != e)
        delete old;
    return OPERATION_OK;
}

Element* ListElem::removeChild(std::string const& name, TvxResult& result)
{
    return removeChild(indexOf(name), result);
}

Element* ListElem::removeChild(unsigned index, TvxResult& result)
{
    if (index >= _children.size()) {
        result = OPERATION_INDEX_OUT_OF_BOUNDS;
        return nullptr;
    }
    Element* const child = _children[index];
    _children.erase(_children.begin() + index);
    result = OPERATION_OK;
    return child;
}

TvxResult ListElem::removeChildren()
{
    for (Element* child : _children)
        delete child;
    _children.clear();
    return OPERATION_OK;
}

int ListElem::getNumChildren() const
{
    return static_cast<int>(_children.size());
}

std::string ListElem::toString() const
{
    return "List";
}

Element* ListElem::clone() const
{
    try {
        return new ListElem(*this);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void ListElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtListElem(this);
}

bool ListElem::instanceOf(std::string const& type) const
{
    return type == _type || NonterminalElem::instanceOf(type);
}

ListElem* ListElem::add(Element* e)
{
    try {
        _children.push_back(e);
    } catch (std::bad_alloc const&) {
        delete e;
        return nullptr;
    }
    return this;
}

ListElem* ListElem::add(bool value)
{
    Element* const e = new (std::nothrow) BooleanElem(value);
    return e ? add(e) : nullptr;
}

ListElem* ListElem::add(int value)
{
    Element* const e = new (std::nothrow) IntegerElem(value);
    return e ? add(e) : nullptr;
}

ListElem* ListElem::add(std::string const& value)
{
    try {
        return add(new StringElem(value));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

ListElem* ListElem::add(char const* value)
{
    try {
        return add(new StringElem(value));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

std::string* ListElem::childrenToString() const
{
    try {
        std::string text = "<List";
        for (Element const* child : _children)
            text.append(" ").append(child ? child->toString() : ":null");
        return new std::string(text + ">");
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

ListElem::ListIterator::ListIterator(ListElem const* list) : _list(list)
{
}

ListElem::ListIterator::~ListIterator() = default;

bool ListElem::ListIterator::hasNext() const
{
    return _nextIndex < _list->size();
}

Element* ListElem::ListIterator::next()
{
    Element* const child = _list->getChild(nextIndex());
    ++_nextIndex;
    return child;
}

std::string ListElem::ListIterator::nextName() const
{
    return iToString(static_cast<int>(nextIndex()));
}

unsigned ListElem::ListIterator::nextIndex() const
{
    return hasNext() ? _nextIndex : 0;
}

} // namespace Tavix
