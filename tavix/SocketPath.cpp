#include "tavix/SocketPath.h"

#include "tavix/foundation/Check.h"

#include <cstdio>
#include <cstdlib>

namespace Tavix {

std::string getSocketPath()
{
    char socket_path[108]; // the size of sun_path
    const char* directory = std::getenv("QZV_RUNTIME_DIR");
    int length =
        std::snprintf(socket_path, sizeof(socket_path), "%s/tavix-server-uds", directory ? directory : ".");
    TAVIX_CHECK(length >= 0 && static_cast<size_t>(length) < sizeof(socket_path),
                "length < (int)sizeof(socket_path)");
    return socket_path;
}

} // namespace Tavix
