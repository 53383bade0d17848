#ifndef TAVIX_SOCKETPATH_H
#define TAVIX_SOCKETPATH_H

#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

// The default path of the bus's socket: "tavix-server-uds" in the directory that QZV_RUNTIME_DIR names, or in
// ".". A path that does not fit a Unix socket address (107 bytes) stops the process; it is never cut short.
TAVIX_API std::string getSocketPath();

} // namespace Tavix

#endif
