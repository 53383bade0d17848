#include "tavix/elements/MapElem.h"

#include "tavix/elements/ElementText.h"
#include "tavix/elements/ElementVisitor.h"

#include <new>

namespace Tavix {

namespace {

std::string nameOf(unsigned index)
{
    return iToString(static_cast<int>(index));
}

} // namespace

MapElem::MapElem() = default;

// Delegating, so that the destructor cleans up when the copy runs out of memory half-way.
MapElem::MapElem(MapElem const& other) : MapElem()
{
    reserve(other._children.size());
    for (auto const& [name, child] : other._children)
        if (put(name, child ? child->clone() : nullptr) != OPERATION_OK)
            throw std::bad_alloc();
}

MapElem::~MapElem()
{
    for (auto const& entry : _children)
        delete entry.second;
}

Element* MapElem::find(std::string_view name) const
{
    auto const entry = _children.find(name);
    return entry == _children.end() ? nullptr : entry->second;
}

TvxResult MapElem::put(std::string_view name, Element* e)
{
    try {
        Element* const old = _children.put(name, e);
        if (old != e)
            delete old;
        return OPERATION_OK;
    } catch (std::bad_alloc const&) {
        delete e;
        return OPERATION_FAILED_OUT_OF_MEMORY;
    }
}

void MapElem::reserve(std::size_t count)
{
    try {
        _children.reserve(count);
    } catch (std::bad_alloc const&) {
        // Only a hint: adding reports it.
        return;
    }
}

Element* MapElem::getChild(std::string const& name) const
{
    return find(name);
}

Element* MapElem::getChild(unsigned index) const
{
    return getChild(nameOf(index));
}

bool MapElem::hasChild(std::string const& name) const
{
    return _children.find(name) != _children.end();
}

bool MapElem::hasChild(unsigned index) const
{
    return hasChild(nameOf(index));
}

ElementIterator* MapElem::iterator(bool)
{
    return new (std::nothrow) ElementIteratorImpl(this);
}

TvxResult MapElem::addChild(std::string const& name, Element* e)
{
    return put(name, e);
}

TvxResult MapElem::addChild(unsigned index, Element* e)
{
    return addChild(nameOf(index), e);
}

TvxResult MapElem::setChild(std::string const& name, Element* e)
{
    auto const entry = _children.find(name);
    if (entry == _children.end() || !entry->second) {
        delete e;
        std::fprintf(stderr, "MapElem::%s() bad name, delete 'e'\n", "setChild");
        std::fflush(stderr);
        return OPERATION_FAILED_NO_SUCH_CHILD;
    }
    Element* const old = entry->second;
    _children.replace(entry, e);
    if (old != e)
        delete old;
    return OPERATION_OK;
}

TvxResult MapElem::setChild(unsigned index, Element* e)
{
    return setChild(nameOf(index), e);
}

Element* MapElem::removeChild(std::string const& name, TvxResult& result)
{
    auto const entry = _children.find(name);
    if (entry == _children.end()) {
        result = OPERATION_FAILED_NO_SUCH_CHILD;
        return nullptr;
    }
    Element* const child = entry->second;
    _children.erase(entry);
    result = OPERATION_OK;
    return child;
}

Element* MapElem::removeChild(unsigned index, TvxResult& result)
{
    return removeChild(nameOf(index), result);
}

TvxResult MapElem::removeChildren()
{
    for (auto const& entry : _children)
        delete entry.second;
    _children.clear();
    return OPERATION_OK;
}

int MapElem::getNumChildren() const
{
    return static_cast<int>(_children.size());
}

std::string MapElem::toString() const
{
    return "Map";
}

Element* MapElem::clone() const
{
    try {
        return new MapElem(*this);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void MapElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtMapElem(this);
}

bool MapElem::instanceOf(std::string const& type) const
{
    return type == _type || NonterminalElem::instanceOf(type);
}

bool MapElem::isMap() const
{
    return true;
}

std::string* MapElem::childrenToString() const
{
    try {
        std::string text = "<Map";
        for (auto const& [name, child] : _children)
            text.append("(").append(name).append(" ").append(child ? child->toString() : ":null").append(")");
        return new std::string(text + ">");
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

MapElem::ElementIteratorImpl::ElementIteratorImpl(MapElem const* map) : _map(map), _position(map->begin())
{
}

MapElem::ElementIteratorImpl::~ElementIteratorImpl() = default;

bool MapElem::ElementIteratorImpl::hasNext() const
{
    return _position != _map->end();
}

Element* MapElem::ElementIteratorImpl::next()
{
    if (!hasNext())
        return nullptr;
    Element* const child = _position->second;
    ++_position;
    return child;
}

std::string MapElem::ElementIteratorImpl::nextName() const
{
    return hasNext() ? _position->first : std::string();
}

unsigned MapElem::ElementIteratorImpl::nextIndex() const
{
    return static_cast<unsigned>(StringToi(nextName()));
}

} // namespace Tavix
