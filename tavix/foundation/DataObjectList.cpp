#include "tavix/foundation/DataObjectList.h"

#include <new>

namespace Ferrule {

DataObjectList::DataObjectList() : DataObject(kList)
{
}

bool DataObjectList::hasItem(int index) const
{
    return index >= 0 && static_cast<unsigned>(index) < _items.getSize();
}

WeakPtr<DataObject> DataObjectList::item(int index) const
{
    return hasItem(index) ? WeakPtr<DataObject>(_items[static_cast<unsigned>(index)]) : absent();
}

DataObjectList* DataObjectList::toList()
{
    return this;
}

int DataObjectList::append(SharedPtr<DataObject> const& item)
{
    return _items.append(item);
}

DataObjectList::Iterator* DataObjectList::iterator() const
{
    return new (std::nothrow) Iterator(*this);
}

DataObjectList::Iterator::~Iterator() = default;

bool DataObjectList::Iterator::hasNext() const
{
    return _list.hasItem(_index + 1);
}

void DataObjectList::Iterator::next()
{
    ++_index;
}

WeakPtr<DataObject> DataObjectList::Iterator::value() const
{
    return _list.item(_index);
}

} // namespace Ferrule
