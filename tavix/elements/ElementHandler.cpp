#include "tavix/elements/ElementHandler.h"

#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <new>

namespace Tavix {

using Source = WeakPtr<Ferrule::Deserializer>;

namespace {

constexpr char kTooDeep[] = "nested deeper than 15 levels";
constexpr char kOutOfMemory[] = "out of memory";
constexpr char kBehindScalar[] = "a value behind a root that is no container";

} // namespace

ElementHandler::ElementHandler() : _error(nullptr), _skippedLevels(0)
{
}

ElementHandler::~ElementHandler() = default;

void ElementHandler::reset()
{
    while (!m_elementStack.isEmpty())
        m_elementStack.remove(m_elementStack.getSize() - 1);
    m_element = SharedPtr<Element>();
    _error = nullptr;
    _skippedLevels = 0;
}

SharedPtr<Element> ElementHandler::getElement() const
{
    bool const isWhole = !_error || _error == kBehindScalar;
    return isWhole ? m_element : SharedPtr<Element>();
}

void ElementHandler::onInteger(Source, char const* name, int value)
{
    handleElement(new (std::nothrow) IntegerElem(value), name);
}

void ElementHandler::onInteger64(Source source, char const* name, std::int64_t value)
{
    onInteger(source, name, static_cast<std::int32_t>(value));
}

void ElementHandler::onDouble(Source, char const* name, double value)
{
    handleElement(new (std::nothrow) DoubleElem(value), name);
}

void ElementHandler::onString(Source, char const* name, char const* value)
{
    handleElement(new (std::nothrow) StringElem(value), name);
}

void ElementHandler::onBoolean(Source, char const* name, bool value)
{
    handleElement(new (std::nothrow) BooleanElem(value), name);
}

void ElementHandler::onNull(Source, char const* name)
{
    handleElement(new (std::nothrow) NullElem(), name);
}

void ElementHandler::arrayStart(Source, char const* name)
{
    pushCollection(new (std::nothrow) ListElem(), name, kElementList);
}

void ElementHandler::arrayEnd(Source)
{
    popCollection();
}

void ElementHandler::objectStart(Source, char const* name)
{
    pushCollection(new (std::nothrow) MapElem(), name, kElementMap);
}

void ElementHandler::objectEnd(Source)
{
    popCollection();
}

bool ElementHandler::handleElement(Element* element, char const* name)
{
    if (!element && !_error)
        _error = kOutOfMemory;
    if (_error) {
        delete element;
        return false;
    }
    if (m_elementStack.isEmpty()) {
        m_element = SharedPtr<Element>(element);
        pushRoot();
        return true;
    }
    ElementHandlerInfo const& top = getTopOfStack();
    bool added = false;
    switch (top.type) {
    case kElementMap:
        added = static_cast<MapElem*>(top.element)->put(name ? name : "", element) == OPERATION_OK;
        break;
    case kElementList:
        added = static_cast<ListElem*>(top.element)->add(element) != nullptr;
        break;
    case kElementTerminal:
        delete element;
        _error = kBehindScalar;
        return false;
    }
    if (!added) // the container has deleted it
        _error = kOutOfMemory;
    return added;
}

void ElementHandler::pushCollection(Element* element, char const* name, ElementHandlerType type)
{
    push(handleElement(element, name) ? element : nullptr, type);
}

void ElementHandler::pushRoot()
{
    FERRULE_CHECK_FATAL(m_element.get());
    if (m_element->instanceOf("MapElem"))
        push(m_element.get(), kElementMap);
    else if (m_element->instanceOf("ListElem"))
        push(m_element.get(), kElementList);
    else
        push(m_element.get(), kElementTerminal);
}

void ElementHandler::push(Element* element, ElementHandlerType type)
{
    if (!_error) {
        SharedPtr<ElementHandlerInfo> info(new (std::nothrow) ElementHandlerInfo{element, type});
        if (info.get() && 0 == m_elementStack.append(info))
            return;
        _error = info.get() ? kTooDeep : kOutOfMemory;
    }
    ++_skippedLevels;
}

void ElementHandler::popCollection()
{
    if (_skippedLevels > 0)
        --_skippedLevels;
    else
        FERRULE_CHECK_FATAL(0 == m_elementStack.remove(m_elementStack.getSize() - 1));
}

ElementHandler::ElementHandlerInfo const& ElementHandler::getTopOfStack() const
{
    FERRULE_CHECK_FATAL(!m_elementStack.isEmpty());
    return *m_elementStack[m_elementStack.getSize() - 1];
}

} // namespace Tavix
