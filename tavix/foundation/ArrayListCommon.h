#ifndef TAVIX_FOUNDATION_ARRAYLISTCOMMON_H
#define TAVIX_FOUNDATION_ARRAYLISTCOMMON_H

#include <tavix/foundation/Export.h>

namespace Ferrule {

// Root of the array lists.
class TAVIX_API ArrayListCommon {
public:
    ArrayListCommon(ArrayListCommon const&) = delete;
    ArrayListCommon& operator=(ArrayListCommon const&) = delete;

protected:
    ArrayListCommon() = default;
    virtual ~ArrayListCommon() = default;

    // Makes room for at least one more item: false when there is none to be had.
    virtual bool grow() { return false; }
};

} // namespace Ferrule

#endif
