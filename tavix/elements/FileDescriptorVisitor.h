#ifndef TAVIX_ELEMENTS_FILEDESCRIPTORVISITOR_H
#define TAVIX_ELEMENTS_FILEDESCRIPTORVISITOR_H

#include <tavix/elements/Element.h>
#include <tavix/elements/ElementVisitor.h>

#include <string>

namespace Tavix {

// Finds the descriptors in a tree: calls back for each FileDescriptorElem, in the order of the walk.
class TAVIX_API FileDescriptorVisitor : public ElementVisitor {
public:
    // Lends the element for the call. `key` is the one given to the visitor, unchanged.
    using Callback = void (*)(void* context, FileDescriptorElem* element, std::string const& key);

    FileDescriptorVisitor(Callback callback, void* context, std::string const& key);
    ~FileDescriptorVisitor() override;

    void visitorAtMapElem(MapElem* element) override;
    void visitorAtListElem(ListElem* element) override;
    void visitorAtIntegerElem(IntegerElem* element) override;
    void visitorAtBooleanElem(BooleanElem* element) override;
    void visitorAtDoubleElem(DoubleElem* element) override;
    void visitorAtStringElem(StringElem* element) override;
    void visitorAtBinaryElem(BinaryElem* element) override;
    void visitorAtNullElem(NullElem* element) override;
    void visitorAtExceptionElem(ExceptionElem* element) override;
    void visitorAtFileDescriptorElem(FileDescriptorElem* element) override;

    // Stores null, returns 0.
    int encode(char** out) override;

private:
    Callback _callback;
    void* _context;
    std::string _key;
};

// Closes every descriptor that stands in the tree, each once; no element names one from then on. For the handler of a
// call that has no more use for what came with it, or never had.
TAVIX_API void closeDescriptors(Element* tree);

} // namespace Tavix

#endif
