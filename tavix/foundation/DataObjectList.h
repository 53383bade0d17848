#ifndef TAVIX_FOUNDATION_DATAOBJECTLIST_H
#define TAVIX_FOUNDATION_DATAOBJECTLIST_H

#include <tavix/foundation/DataObject.h>
#include <tavix/foundation/DynamicArrayList.h>

namespace Ferrule {

// A list of configuration values.
class TAVIX_API DataObjectList : public DataObject {
public:
    // A walk from the first item on; the list must not change meanwhile.
    class TAVIX_API Iterator {
    public:
        explicit Iterator(DataObjectList const& list) : _list(list), _index(-1) {}
        virtual ~Iterator();

        virtual bool hasNext() const;
        virtual void next();                       // first of all to the first item
        virtual WeakPtr<DataObject> value() const; // the item that next() went to

    private:
        DataObjectList const& _list;
        int _index;
    };

    DataObjectList();

    bool hasItem(int index) const override;
    WeakPtr<DataObject> item(int index) const override;
    DataObjectList* toList() override;

    // Answers 0, or non-zero when no memory is left.
    int append(SharedPtr<DataObject> const& item);

    // Gives back: the caller deletes it. Null when no memory is left.
    Iterator* iterator() const;

private:
    DynamicArrayList<SharedPtr<DataObject>, 8> _items;
};

} // namespace Ferrule

#endif
