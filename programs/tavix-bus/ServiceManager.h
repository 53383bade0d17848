#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SERVICEMANAGER_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SERVICEMANAGER_H

#include <string>

// The service manager that started this process: the listening sockets that it passes (sd_listen_fds(3)) and
// what it wants to hear (sd_notify(3)). Without one there are no sockets, and nobody is told.
class ServiceManager {
public:
    // Takes the variables meant for this process out of the environment: what it starts does not inherit them.
    ServiceManager();

    // Gives back the sockets that were passed, -1 where there is none; they do not block, and are closed in
    // programs that this process starts. False with an error in words when there is one that the broker cannot
    // serve on.
    bool takeSockets(int& unixListener, int& tcpListener, std::string& error) const;

    void tellReady() const { tell("READY=1"); }
    void tellReloading() const;
    void tellStopping() const { tell("STOPPING=1"); }

private:
    void tell(std::string const& state) const;

    std::string _notifySocket;
    int _passed; // sockets, or a negative errno
};

#endif
