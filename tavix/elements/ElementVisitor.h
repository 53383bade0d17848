#ifndef TAVIX_ELEMENTS_ELEMENTVISITOR_H
#define TAVIX_ELEMENTS_ELEMENTVISITOR_H

#include <tavix/foundation/Export.h>

namespace Tavix {

class BinaryElem;
class BooleanElem;
class DoubleElem;
class ExceptionElem;
class FileDescriptorElem;
class IntegerElem;
class ListElem;
class MapElem;
class NullElem;
class StringElem;

// One operation per kind of value. Element::accept calls the one that fits the node and nothing else: a
// visitor that wants the children of a container walks them itself. A container may hold null children.
class TAVIX_API ElementVisitor {
public:
    virtual ~ElementVisitor();

    virtual void visitorAtMapElem(MapElem* element) = 0;
    virtual void visitorAtListElem(ListElem* element) = 0;
    virtual void visitorAtIntegerElem(IntegerElem* element) = 0;
    virtual void visitorAtBooleanElem(BooleanElem* element) = 0;
    virtual void visitorAtDoubleElem(DoubleElem* element) = 0;
    virtual void visitorAtStringElem(StringElem* element) = 0;
    virtual void visitorAtBinaryElem(BinaryElem* element) = 0;
    virtual void visitorAtNullElem(NullElem* element) = 0;
    virtual void visitorAtExceptionElem(ExceptionElem* element) = 0;

    // For visitors that cannot carry descriptors: says so on the error stream and stops the process.
    virtual void visitorAtFileDescriptorElem(FileDescriptorElem* element);

    // Hands over a byte result: stores it in *out and returns its length in bytes; 0 from a visitor without
    // one.
    virtual int encode(char** out) = 0;
};

} // namespace Tavix

#endif
