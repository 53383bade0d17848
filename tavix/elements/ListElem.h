#ifndef TAVIX_ELEMENTS_LISTELEM_H
#define TAVIX_ELEMENTS_LISTELEM_H

#include <tavix/elements/NonterminalElem.h>

#include <vector>

namespace Tavix {

// An ordered sequence of values. A child is addressed by its index, or by a name that is read as a decimal
// number; a name that is none gives index 0. A slot holds null when null was stored.
class TAVIX_API ListElem : public NonterminalElem {
public:
    static constexpr char _type[] = "ListElem";

    class TAVIX_API ListIterator : public ElementIterator {
    public:
        // Lends: the list must outlive the iterator.
        explicit ListIterator(ListElem const* list);
        ~ListIterator() override;

        bool hasNext() const override;
        Element* next() override;
        std::string nextName() const override;
        unsigned nextIndex() const override;

    private:
        ListElem const* _list;
        unsigned _nextIndex = 0;
    };

    ListElem();
    // Deep.
    ListElem(ListElem const& other);
    ListElem& operator=(ListElem const&) = delete;
    ~ListElem() override;

    using NonterminalElem::hasChild;
    using NonterminalElem::iterator;
    Element* getChild(std::string const& name) const override;
    Element* getChild(unsigned index) const override;
    ElementIterator* iterator(bool ordered) override;

    // Inserts before `index` and moves later children up; an index equal to the size appends. Beyond that:
    // OPERATION_INDEX_OUT_OF_BOUNDS, and one line on the error stream.
    TvxResult addChild(std::string const& name, Element* e) override;
    TvxResult addChild(unsigned index, Element* e) override;

    // OPERATION_INDEX_OUT_OF_BOUNDS, and one line on the error stream, when there is no child at `index`.
    TvxResult setChild(std::string const& name, Element* e) override;
    TvxResult setChild(unsigned index, Element* e) override;

    // Moves later children down.
    Element* removeChild(std::string const& name, TvxResult& result) override;
    Element* removeChild(unsigned index, TvxResult& result) override;
    TvxResult removeChildren() override;
    int getNumChildren() const override;
    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

    // Appends and returns this list. Takes e. The other forms append a new element with that value and return
    // null, with the list unchanged, when it cannot be allocated; a text must not be null.
    ListElem* add(Element* e);
    ListElem* add(bool value);
    ListElem* add(int value);
    ListElem* add(std::string const& value);
    ListElem* add(char const* value);

    // "<List :i 1 :i 2>": a new text that the caller deletes; null when memory runs out.
    std::string* childrenToString() const;

    // The children in order, without an iterator object. Lends: valid until the list changes.
    std::vector<Element*>::const_iterator begin() const { return _children.begin(); }
    std::vector<Element*>::const_iterator end() const { return _children.end(); }
    std::size_t size() const { return _children.size(); }

private:
    std::vector<Element*> _children;
};

} // namespace Tavix

#endif
