#ifndef TAVIX_ELEMENTS_ELEMENTITERATOR_H
#define TAVIX_ELEMENTS_ELEMENTITERATOR_H

#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

class Element;

// Walks the children of one container. Made by Element::iterator(); whoever asked for it deletes it. The
// container must outlive it and must not be changed in the meantime.
class TAVIX_API ElementIterator {
public:
    virtual ~ElementIterator();

    virtual bool hasNext() const = 0;

    // Lends the child at the position and moves on. Past the end a map answers null and a list its first
    // child.
    virtual Element* next() = 0;

    // The name and the index of the child that next() is about to return: ask before calling next(). In a
    // list the name is the decimal index; in a map the index is the name read as a number, 0 when it is none.
    virtual std::string nextName() const = 0;
    virtual unsigned nextIndex() const = 0;
};

} // namespace Tavix

#endif
