#ifndef TAVIX_PROGRAMS_TAVIX_BUS_OPTIONS_H
#define TAVIX_PROGRAMS_TAVIX_BUS_OPTIONS_H

#include <string>
#include <vector>

enum ExitCode {
    kStopped = 0,
    kFailed = 1,
    kUsage = 2,
    kSessionFailed = 125,
    kCannotRun = 126,
    kNotFound = 127
};

// What the command line says.
struct Options {
    std::string loop = "epoll";
    std::string address;
    bool onTcp = false;
    int tcpPort = 0; // 0: TAVX_TCPPORT, or 5010
    int bufferSize = 0;
    std::string activationDir; // empty: TVX_ACTIVATION_CONFIG_DIR
    bool runSession = false;
    std::vector<std::string> command; // of the session
};

#endif
