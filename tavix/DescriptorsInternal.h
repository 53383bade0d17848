#ifndef TAVIX_DESCRIPTORSINTERNAL_H
#define TAVIX_DESCRIPTORSINTERNAL_H

#include <unistd.h>
#include <utility>

namespace Tavix {

class Element;

// One open descriptor, closed in the end. -1 is none.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int fd = -1) : _fd(fd) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : _fd(other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~OwnedDescriptor() { reset(); }

    int get() const { return _fd; }
    int release() { return std::exchange(_fd, -1); }
    void reset(int fd = -1)
    {
        const int old = std::exchange(_fd, fd);
        if (old >= 0)
            close(old);
    }

private:
    int _fd;
};

// Whether there is an element in the tree that stands for a descriptor.
bool holdsDescriptor(Element* tree);

} // namespace Tavix

#endif
