#ifndef TAVIX_ELEMENTS_ELEMENT_H
#define TAVIX_ELEMENTS_ELEMENT_H

#include <tavix/elements/ElementIterator.h>
#include <tavix/elements/TvxResult.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/RecycledNode.h>

#include <cstdio>
#include <string>

namespace Tavix {

class ElementVisitor;

// One node of a value tree. Every accessor exists on every node: a node that has no such value answers a
// fixed default, so a caller may ask any node without testing its kind first.
//
// A container owns its children. Texts are bytes with a length. A tree has no lock and belongs to one thread
// at a time, also while it is only sent or cloned. No operation throws but std::bad_alloc, and that
// only where a text is made.
class TAVIX_API Element : public Ferrule::RecycledNode {
public:
    static constexpr char _type[] = "Element";

    // Deletes the children too.
    virtual ~Element() = default;

    // Lends: valid until this container drops the child. Null when there is none.
    virtual Element* getChild(std::string const& name) const;
    virtual Element* getChild(unsigned index) const;

    virtual bool hasChild(std::string const& name) const;
    virtual bool hasChild(unsigned index) const;

    // A new iterator over the children, which the caller deletes; null on a leaf or when memory runs out. The
    // argument is kept for compatibility and has no effect.
    virtual ElementIterator* iterator(bool ordered) = 0;

    // Takes e, on failure too: e is deleted then. On a leaf both operations stop the process.
    virtual TvxResult addChild(std::string const& name, Element* e) = 0;
    virtual TvxResult addChild(unsigned index, Element* e) = 0;

    // Takes e, on failure too; the child that was there is deleted.
    virtual TvxResult setChild(std::string const& name, Element* e) = 0;
    virtual TvxResult setChild(unsigned index, Element* e) = 0;

    // Gives back: the caller deletes the child. Null with a result other than OPERATION_OK when there is
    // none.
    virtual Element* removeChild(std::string const& name, TvxResult& result) = 0;
    virtual Element* removeChild(unsigned index, TvxResult& result) = 0;

    // Deletes all children.
    virtual TvxResult removeChildren() = 0;

    // -1 on a leaf.
    virtual int getNumChildren() const;

    // True when this kind of node takes such a value; otherwise nothing changes.
    virtual bool setValue(int value);
    virtual bool setValue(std::string const& value);
    virtual bool setValue(bool value);
    virtual bool setValue(double value);

    // Defaults: the empty text, -1, false, -1.0, null, 0.
    virtual std::string stringValue() const;
    virtual int intValue() const;
    virtual bool booleanValue() const;
    virtual double doubleValue() const;
    // Lends the bytes, valid as long as the node.
    virtual unsigned char const* binaryValue() const;
    virtual unsigned binaryLength() const;

    // The same with a result code. A node without such a value answers the default with OPERATION_OK, except
    // for doubleValue, which reports OPERATION_FAILED_NOT_SUPPORTED.
    virtual std::string stringValue(TvxResult& result) const;
    virtual int intValue(TvxResult& result) const;
    virtual bool booleanValue(TvxResult& result) const;
    virtual double doubleValue(TvxResult& result) const;

    // A short form of this node alone, for debugging.
    virtual std::string toString() const;

    // The name (in a list, the decimal index) under which this container holds `child`; empty when it does
    // not.
    virtual std::string getChildName(Element* child);

    // A deep copy that the caller owns; null when memory runs out.
    virtual Element* clone() const;

    // Calls the operation of the visitor for this kind of node.
    virtual void accept(ElementVisitor* visitor);

    // Whether `type` is the name of this node's class or of a base of it. Use isException() for exceptions.
    virtual bool instanceOf(std::string const& type) const;
    virtual bool isMap() const;
    virtual bool isException() const;

    ElementIterator* iterator() { return iterator(true); }

    // A text literal is a text: without this it would convert to bool. A null text changes nothing.
    bool setValue(char const* value);

    // Writes the tree, one line per node and at most 25 levels, to standard output or to `stream`.
    void print(std::string name);
    void print(FILE* stream, std::string name);
    static void print(FILE* stream, std::string indent, std::string name, Element* e, int level);

    // "true", "yes" and "y" in any case are true; so is a number other than 0, in C notation, that ends with
    // the text or at white space. Everything else is false.
    bool toBoolean(char const* text) const;

protected:
    Element() = default;
    Element(Element const&) = default;
    Element& operator=(Element const&) = default;
};

} // namespace Tavix

#endif
