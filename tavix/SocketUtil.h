#ifndef TAVIX_SOCKETUTIL_H
#define TAVIX_SOCKETUTIL_H

#include <tavix/foundation/Export.h>

// Opening of stream sockets. Every function gives back a descriptor that the caller closes, or a negative
// number after a message on standard output (of the TCP client and of startTCPServer on standard error). They
// share no state and may be called on any thread. None of the descriptors has the close-on-exec flag.

// Connect to a Unix domain socket; the descriptor blocks. A failing connect is tried again each second, 12
// times in all, so that a client may be started before its server: the call takes up to 11 seconds. An
// attempt that a signal interrupts does not count. The name behind an abstract address, like a path, is cut
// after 107 bytes; the address is the whole zero-filled structure (unix(7)).
TAVIX_API int connectToServerUnixDomain(char const* path);
TAVIX_API int connectToServerAbstractUnixDomain(char const* name);

// Connects to "host", "host:port", "[IPv6 address]:port" or an IPv6 address; the descriptor blocks. Null or
// empty text means 127.0.0.1; the default port is 5010. Tries once.
TAVIX_API int connectToServerTCP(char const* address);

// Listen with a backlog of 2; the descriptor does not block. A socket file left at `path` is replaced, and
// the new one is open to every user. After a failed bind errno tells why.
TAVIX_API int startUnixDomainServer(char const* path);
TAVIX_API int startAbstractUnixDomainServer(char const* name);

// Listens on all addresses, IPv6 and IPv4. Port 0 selects the port in the environment variable TAVX_TCPPORT,
// or 5010. Below 0: -1 no socket, -2 and -3 the bind over IPv4 and IPv6 failed, -4 the listen failed.
TAVIX_API int startTCPServer(int port);

// Listens on `port` as it is.
TAVIX_API int setupTCPServer(int port);

// The result of the fcntl that sets the flag: 0, or -1 with errno.
TAVIX_API int setNonblocking(int fd);
TAVIX_API int setBlocking(int fd);
TAVIX_API int setCloseOnExec(int fd);

// Sets the send and the receive buffer of a socket to `size` bytes, above 0 (socket(7): the kernel doubles
// it). A refusal stops the process: the descriptor was no socket, or the size not above 0. Answers 0.
TAVIX_API int setSocketBufferSize(int fd, int size);

#endif
