#ifndef TAVIX_FOUNDATION_DATAOBJECT_H
#define TAVIX_FOUNDATION_DATAOBJECT_H

#include <tavix/foundation/Export.h>
#include <tavix/foundation/NonCopyable.h>
#include <tavix/foundation/SharedPtr.h>
#include <tavix/foundation/WeakPtr.h>

#include <map>
#include <string>

namespace Ferrule {

class DataObjectList;

// A node of a tree of configuration values: a text, a set of children by key, a list (DataObjectList), or
// something else, of which only the presence counts. A parent owns its children. For one thread at a time.
class TAVIX_API DataObject : private NonCopyable<DataObject> {
public:
    enum Kind { kInvalid, kText, kMap, kList, kOther };

    explicit DataObject(Kind kind = kInvalid);
    explicit DataObject(std::string const& text);
    virtual ~DataObject();

    // False for the object that stands for an absent key or index.
    bool isValid() const { return _kind != kInvalid; }
    bool isList() const { return _kind == kList; }

    // Lends the text, null when the value is not a text: numbers, booleans and null have none.
    char const* text() const;

    // Lends the child, never null: without such a child it is an object that is not valid.
    WeakPtr<DataObject> get(char const* key) const;

    // The same for a list, by index.
    virtual bool hasItem(int index) const;
    virtual WeakPtr<DataObject> item(int index) const;

    // Lends this object as a list, null when it is none.
    virtual DataObjectList* toList();

    // Puts a child under `key`, in place of one that is there.
    void set(char const* key, SharedPtr<DataObject> const& child);

protected:
    static WeakPtr<DataObject> absent();

private:
    Kind _kind;
    std::string _text;
    std::map<std::string, SharedPtr<DataObject>> _children;
};

} // namespace Ferrule

#endif
