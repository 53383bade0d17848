#ifndef TAVIX_ELEMENTS_SHAREDBYTES_H
#define TAVIX_ELEMENTS_SHAREDBYTES_H

#include <cstddef>
#include <memory>
#include <string_view>

namespace Tavix {

// Bytes that nobody changes any more and that several holders keep alive together: the text of a large value, in a
// tree, in its clones, in the message it arrived in and in those it leaves in. Sharing spares the copies, which
// would cost more than the system calls of a large message.
struct SharedBytes {
    std::shared_ptr<void const> owner;
    char const* data = nullptr;
    std::size_t size = 0;

    std::string_view view() const { return std::string_view(data, size); }
};

// From this length on, in bytes, values are shared rather than copied.
constexpr std::size_t kSharedLength = 8192;

} // namespace Tavix

#endif
