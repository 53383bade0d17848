#include "tavix/foundation/DataObjectHandler.h"

#include "tavix/foundation/DataObjectList.h"

#include <new>

namespace Ferrule {

namespace {

constexpr char kTooDeep[] = "nested deeper than 16 levels";
constexpr char kOutOfMemory[] = "out of memory";

} // namespace

DataObjectHandler::DataObjectHandler() : _skippedLevels(0), _error(nullptr)
{
}

DataObjectHandler::~DataObjectHandler() = default;

void DataObjectHandler::reset()
{
    while (!_stack.isEmpty())
        _stack.remove(_stack.getSize() - 1);
    _root = SharedPtr<DataObject>();
    _skippedLevels = 0;
    _error = nullptr;
}

SharedPtr<DataObject> DataObjectHandler::getRoot() const
{
    return _error ? SharedPtr<DataObject>() : _root;
}

// The values of numbers, booleans and null are of no use in a configuration.

void DataObjectHandler::onInteger(WeakPtr<Deserializer> source, char const* name, int)
{
    onNull(source, name);
}

void DataObjectHandler::onInteger64(WeakPtr<Deserializer> source, char const* name, std::int64_t)
{
    onNull(source, name);
}

void DataObjectHandler::onDouble(WeakPtr<Deserializer> source, char const* name, double)
{
    onNull(source, name);
}

void DataObjectHandler::onBoolean(WeakPtr<Deserializer> source, char const* name, bool)
{
    onNull(source, name);
}

void DataObjectHandler::onNull(WeakPtr<Deserializer>, char const* name)
{
    attach(SharedPtr<DataObject>(new (std::nothrow) DataObject(DataObject::kOther)), name);
}

void DataObjectHandler::onString(WeakPtr<Deserializer>, char const* name, char const* value)
{
    attach(SharedPtr<DataObject>(new (std::nothrow) DataObject(std::string(value))), name);
}

void DataObjectHandler::arrayStart(WeakPtr<Deserializer>, char const* name)
{
    open(SharedPtr<DataObject>(new (std::nothrow) DataObjectList()), name);
}

void DataObjectHandler::objectStart(WeakPtr<Deserializer>, char const* name)
{
    open(SharedPtr<DataObject>(new (std::nothrow) DataObject(DataObject::kMap)), name);
}

void DataObjectHandler::arrayEnd(WeakPtr<Deserializer>)
{
    closeTop();
}

void DataObjectHandler::objectEnd(WeakPtr<Deserializer>)
{
    closeTop();
}

void DataObjectHandler::attach(SharedPtr<DataObject> const& object, char const* name)
{
    if (_error)
        return;
    if (!object.get()) {
        _error = kOutOfMemory;
    } else if (_stack.isEmpty()) {
        _root = object;
    } else {
        DataObject* const parent = _stack[_stack.getSize() - 1]->object;
        if (DataObjectList* const list = parent->toList()) {
            if (list->append(object) != 0)
                _error = kOutOfMemory;
        } else {
            parent->set(name ? name : "", object);
        }
    }
}

void DataObjectHandler::open(SharedPtr<DataObject> const& object, char const* name)
{
    attach(object, name);
    if (!_error) {
        SharedPtr<DataObjectHandlerInfo> info(new (std::nothrow) DataObjectHandlerInfo{object.get()});
        if (info.get() && _stack.append(info) == 0)
            return;
        _error = info.get() ? kTooDeep : kOutOfMemory;
    }
    ++_skippedLevels;
}

void DataObjectHandler::closeTop()
{
    if (_skippedLevels > 0)
        --_skippedLevels;
    else
        FERRULE_CHECK_FATAL(0 == _stack.remove(_stack.getSize() - 1));
}

} // namespace Ferrule
