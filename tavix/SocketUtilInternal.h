#ifndef TAVIX_SOCKETUTILINTERNAL_H
#define TAVIX_SOCKETUTILINTERNAL_H

#include <string>
#include <sys/un.h>

namespace Tavix {

// An address text taken apart as connectToServerTCP reads it.
struct TcpAddress {
    std::string host;
    long port; // as written, in range or not
};

TcpAddress parseTcpAddress(char const* address);

// The name, cut to 107 bytes, at `offset` in a path field that is zero elsewhere: 0 for a path, 1 for an abstract name,
// whose address is the whole structure.
sockaddr_un makeUnixAddress(char const* name, unsigned offset);

// Worker of both Unix domain clients. `offset` is where the name begins in the path field: 0 for a path, 1
// for an abstract name; `function` names the caller in the message after the last attempt.
int connectUnixDomain(char const* name, unsigned offset, unsigned secondsBetweenAttempts,
                      char const* function);

// The port that startTCPServer(0) uses.
int getDefaultTcpServerPort();

} // namespace Tavix

#endif
