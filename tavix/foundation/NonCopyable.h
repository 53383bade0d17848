#ifndef TAVIX_FOUNDATION_NONCOPYABLE_H
#define TAVIX_FOUNDATION_NONCOPYABLE_H

namespace Ferrule {

// Base of T that forbids copying it; T tells the bases of one object apart.
template <class T>
class NonCopyable {
public:
    NonCopyable(NonCopyable const&) = delete;
    NonCopyable& operator=(NonCopyable const&) = delete;

protected:
    NonCopyable() = default;
    ~NonCopyable() = default;
};

} // namespace Ferrule

#endif
