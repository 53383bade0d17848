#include "tavix/foundation/DataObject.h"

namespace Ferrule {

DataObject::DataObject(Kind kind) : _kind(kind)
{
}

DataObject::DataObject(std::string const& text) : _kind(kText), _text(text)
{
}

DataObject::~DataObject() = default;

char const* DataObject::text() const
{
    return _kind == kText ? _text.c_str() : nullptr;
}

WeakPtr<DataObject> DataObject::get(char const* key) const
{
    auto const found = _children.find(key ? key : "");
    return found != _children.end() ? WeakPtr<DataObject>(found->second) : absent();
}

bool DataObject::hasItem(int) const
{
    return false;
}

WeakPtr<DataObject> DataObject::item(int) const
{
    return absent();
}

DataObjectList* DataObject::toList()
{
    return nullptr;
}

void DataObject::set(char const* key, SharedPtr<DataObject> const& child)
{
    if (isValid() && child.get()) // the absent object is one for all and stays empty
        _children[key ? key : ""] = child;
}

WeakPtr<DataObject> DataObject::absent()
{
    static DataObject theAbsent;
    return &theAbsent;
}

} // namespace Ferrule
