#ifndef TAVIX_PROGRAMS_TAVIX_BUS_LISTENERS_H
#define TAVIX_PROGRAMS_TAVIX_BUS_LISTENERS_H

#include "tavix-bus/Options.h"
#include "tavix-bus/ServiceManager.h"
#include "tavix-bus/SocketClaim.h"

#include <optional>
#include <string>

// The sockets that the broker listens on: passed by the service manager, or opened here.
class Listeners {
public:
    // Takes what was passed, and claims the path of what was not: while another broker starts there, this
    // waits. Nothing is made yet. False with an error in words.
    bool prepare(Options const& options, ServiceManager const& manager, std::string& error);

    // Opens what is missing. False with an error in words.
    bool open(Options const& options, std::string& error);

    // The caller takes them. tcp() is -1 for none.
    int local() const { return _local; }
    int tcp() const { return _tcp; }

    // Tells on standard output where they are.
    void announce() const;

    // Removes the socket file, if it was made here. Call it while the socket is open.
    void withdraw();

private:
    bool openTcp(Options const& options, std::string& error);
    void leadChildrenHere() const;

    int _local = -1;
    int _tcp = -1;
    std::string _path;
    std::optional<SocketClaim> _claim; // none for a socket that was passed
};

#endif
