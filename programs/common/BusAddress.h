#ifndef TAVIX_PROGRAMS_COMMON_BUSADDRESS_H
#define TAVIX_PROGRAMS_COMMON_BUSADDRESS_H

#include <string>

// Where the bus's socket is when nothing else is said. False with an error in words when QZV_RUNTIME_DIR
// names a directory too long for a Unix domain socket, which the library answers by stopping the process.
bool findDefaultSocket(std::string& path, std::string& error);

// Whether a path fits into a Unix domain socket's address.
bool fitsSocketAddress(std::string const& path);

// Makes a single attempt. typeFlags: SOCK_NONBLOCK or 0. Gives back the descriptor, or -1 with errno.
int connectOnce(std::string const& path, int typeFlags);

#endif
