#include "tavix/elements/ElementVisitor.h"

#include "tavix/elements/ElementIterator.h"
#include "tavix/foundation/Check.h"

#include <cstdio>

namespace Tavix {

ElementIterator::~ElementIterator() = default;

ElementVisitor::~ElementVisitor() = default;

void ElementVisitor::visitorAtFileDescriptorElem(FileDescriptorElem*)
{
    std::fputs("File Descriptor Elements not supported\n", stderr);
    std::fflush(stderr);
    TAVIX_CHECK(false, "false");
}

} // namespace Tavix
