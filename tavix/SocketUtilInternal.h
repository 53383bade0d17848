#ifndef TAVIX_SOCKETUTILINTERNAL_H
#define TAVIX_SOCKETUTILINTERNAL_H

#include <string>

namespace Tavix {

// An address text taken apart as connectToServerTCP reads it.
struct TcpAddress {
    std::string host;
    long port; // as written, in range or not
};

TcpAddress parseTcpAddress(char const* address);

// Worker of both Unix domain clients. `offset` is where the name begins in the path field: 0 for a path, 1
// for an abstract name; `function` names the caller in the message after the last attempt.
int connectUnixDomain(char const* name, unsigned offset, unsigned secondsBetweenAttempts,
                      char const* function);

// The port that startTCPServer(0) uses.
int getDefaultTcpServerPort();

} // namespace Tavix

#endif
