#include "tavix/elements/FileDescriptorVisitor.h"

#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"

#include <set>
#include <unistd.h>

namespace Tavix {

FileDescriptorVisitor::FileDescriptorVisitor(Callback callback, void* context, std::string const& key)
    : _callback(callback), _context(context), _key(key)
{
}

FileDescriptorVisitor::~FileDescriptorVisitor() = default;

void FileDescriptorVisitor::visitorAtMapElem(MapElem* element)
{
    for (auto const& entry : *element)
        if (entry.second)
            entry.second->accept(this);
}

void FileDescriptorVisitor::visitorAtListElem(ListElem* element)
{
    // By index: the callback may append.
    for (int i = 0; i < element->getNumChildren(); ++i)
        if (Element* child = element->getChild(static_cast<unsigned>(i)))
            child->accept(this);
}

void FileDescriptorVisitor::visitorAtIntegerElem(IntegerElem*)
{
}
void FileDescriptorVisitor::visitorAtBooleanElem(BooleanElem*)
{
}
void FileDescriptorVisitor::visitorAtDoubleElem(DoubleElem*)
{
}
void FileDescriptorVisitor::visitorAtStringElem(StringElem*)
{
}
void FileDescriptorVisitor::visitorAtBinaryElem(BinaryElem*)
{
}
void FileDescriptorVisitor::visitorAtNullElem(NullElem*)
{
}
void FileDescriptorVisitor::visitorAtExceptionElem(ExceptionElem*)
{
}

void FileDescriptorVisitor::visitorAtFileDescriptorElem(FileDescriptorElem* element)
{
    _callback(_context, element, _key);
}

int FileDescriptorVisitor::encode(char** out)
{
    *out = nullptr;
    return 0;
}

void closeDescriptors(Element* tree)
{
    auto closeOne = [](void* closed, FileDescriptorElem* element, std::string const&) {
        const int fd = element->intValue();
        // One number may stand in several elements.
        if (fd >= 0 && static_cast<std::set<int>*>(closed)->insert(fd).second)
            close(fd);
        element->setValue(-1);
    };
    std::set<int> closed;
    FileDescriptorVisitor visitor(closeOne, &closed, std::string());
    tree->accept(&visitor);
}

} // namespace Tavix
