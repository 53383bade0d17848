#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SOCKETCLAIM_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SOCKETCLAIM_H

#include <string>
#include <sys/types.h>

// The one broker's hold on the path of its socket.
//
// What a path may hold, and what becomes of it: nothing; a socket that somebody answers on, which is left
// alone; a socket whose owner has gone, which is replaced; anything else, which is left alone. Brokers that
// start at the same moment take turns by a lock on the directory (flock(2)), which needs no file of its own
// and goes with its holder.
class SocketClaim {
public:
    explicit SocketClaim(std::string const& path);
    // Withdraws.
    ~SocketClaim();
    SocketClaim(SocketClaim const&) = delete;
    SocketClaim& operator=(SocketClaim const&) = delete;

    // Waits until no other broker is starting in this directory. False with an error in words.
    bool lock(std::string& error);

    // Opens the listening socket and ends the lock. Gives back the descriptor, or -1 with an error in words
    // that names the path.
    int open(std::string& error);

    // Removes the socket file, if it is still the one that open made. Call it while the socket is open: until
    // it is closed no other broker takes the path, and no other file gets this one's number.
    void withdraw();

private:
    bool makeRoom(std::string& error);
    bool removeStale(std::string& error);
    void unlock();

    const std::string _path;
    const std::string _directory;
    int _lockFd = -1;
    bool _made = false;
    dev_t _device = 0; // of the socket file, once it is made
    ino_t _inode = 0;
};

#endif
