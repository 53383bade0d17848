#ifndef TAVIX_ELEMENTS_MAPELEM_H
#define TAVIX_ELEMENTS_MAPELEM_H

#include <tavix/elements/NamedChildren.h>
#include <tavix/elements/NonterminalElem.h>

#include <string_view>

class PropertyMap;

namespace Tavix {

// Named values in the order of their names, compared byte by byte, whatever the order of insertion. An index
// addresses the child whose name is that number in decimal. An entry holds null when null was stored.
class TAVIX_API MapElem : public NonterminalElem {
public:
    static constexpr char _type[] = "MapElem";

    class TAVIX_API ElementIteratorImpl : public ElementIterator {
    public:
        // Lends: the map must outlive the iterator.
        explicit ElementIteratorImpl(MapElem const* map);
        ~ElementIteratorImpl() override;

        bool hasNext() const override;
        Element* next() override;
        std::string nextName() const override;
        unsigned nextIndex() const override;

    private:
        MapElem const* _map;
        NamedChildren::Iterator _position;
    };

    MapElem();
    // Deep.
    MapElem(MapElem const& other);
    MapElem& operator=(MapElem const&) = delete;
    ~MapElem() override;

    // Turns a property map into a tree: a new map, the caller's. A key names its child in decimal; of equal keys
    // the later holds. A float becomes a DoubleElem, a text ends at its first zero byte. Null when memory runs out,
    // for a value type above PM_MAX_TYPE, for a block with an entry that does not fit, and for a tree of more than
    // 127 levels below the map, which no message could carry.
    //
    // PM_POINTER_TYPE and PM_MAX_TYPE are faults that stop the process: maps that others made are to be looked
    // through for them first.
    static MapElem* create_raw(PropertyMap const& map);

    using NonterminalElem::iterator;
    Element* getChild(std::string const& name) const override;
    Element* getChild(unsigned index) const override;
    // True when the name is present, also when its child is null.
    bool hasChild(std::string const& name) const override;
    bool hasChild(unsigned index) const override;
    ElementIterator* iterator(bool ordered) override;

    // Inserts, or replaces and deletes the child of that name. Only a lack of memory fails.
    TvxResult addChild(std::string const& name, Element* e) override;
    TvxResult addChild(unsigned index, Element* e) override;

    // Replaces and deletes the child of that name. Without such a child: OPERATION_FAILED_NO_SUCH_CHILD, and
    // one line on the error stream.
    TvxResult setChild(std::string const& name, Element* e) override;
    TvxResult setChild(unsigned index, Element* e) override;
    Element* removeChild(std::string const& name, TvxResult& result) override;
    Element* removeChild(unsigned index, TvxResult& result) override;
    TvxResult removeChildren() override;
    int getNumChildren() const override;
    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;
    bool isMap() const override;

    // "<Map(a :i 1)>": a new text that the caller deletes; null when memory runs out.
    std::string* childrenToString() const;

    // getChild and addChild for a name that is no std::string; cheap when the names come in ascending order.
    Element* find(std::string_view name) const;
    TvxResult put(std::string_view name, Element* e);
    // Room for `count` entries that are about to come.
    void reserve(std::size_t count);

    // The entries in order, without an iterator object:
    //     for (auto const& [name, child] : map)
    // Lends: valid until the map changes.
    NamedChildren::Iterator begin() const { return _children.begin(); }
    NamedChildren::Iterator end() const { return _children.end(); }
    std::size_t size() const { return _children.size(); }

private:
    NamedChildren _children;
};

} // namespace Tavix

#endif
