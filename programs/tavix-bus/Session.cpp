#include "tavix-bus/Session.h"

#include "common/BusAddress.h"
#include "tavix-bus/Broker.h"
#include "tavix-bus/ServiceManager.h"
#include "tavix-bus/SessionCommand.h"

#include <tavix/SocketUtil.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

// Made new, and removed in the end with everything in it.
class SessionDirectory {
public:
    ~SessionDirectory()
    {
        std::error_code ignored;
        if (!_path.empty())
            fs::remove_all(_path, ignored);
    }

    bool make(std::string& error)
    {
        std::error_code code;
        std::string path = fs::temp_directory_path(code) / "tavix-session.XXXXXX";
        if (!code && mkdtemp(path.data()))
            _path = path;
        else
            error = "cannot make a directory for the session: " +
                    (code ? code.message() : path + ": " + std::strerror(errno));
        return !_path.empty();
    }

    std::string const& path() const { return _path; }

private:
    std::string _path;
};

// The listening socket, or -1 with an error in words.
int listenIn(std::string const& directory, std::string& error)
{
    const std::string path = directory + "/tavix-server-uds";
    const int fd = fitsSocketAddress(path) ? startUnixDomainServer(path.c_str()) : -1;
    if (fd >= 0)
        setCloseOnExec(fd);
    else if (!fitsSocketAddress(path))
        error = "the path " + path + " does not fit a Unix domain socket; TMPDIR may name a shorter one";
    else
        error = "cannot open the socket " + path + ": " + std::strerror(errno);
    return fd;
}

int fail(std::string const& error)
{
    std::fprintf(stderr, "tavix-bus: %s\n", error.c_str());
    return kSessionFailed;
}

} // namespace

int runSession(Options const& options)
{
    SessionCommand command;
    Broker broker{SIGTERM, SIGINT, SIGQUIT, SIGHUP, SIGCHLD}; // before there is a directory to be left behind
    SessionDirectory directory;
    std::string error;
    if (!directory.make(error))
        return fail(error);
    const int listener = listenIn(directory.path(), error);
    auto handleSignal = [&](Signals::Received signal) {
        if (signal.number == SIGHUP)
            broker.reload();
        else if (signal.number == SIGCHLD)
            command.reap();
        else if (!signal.fromTerminal) // which reaches the command without us
            command.signal(signal.number);
    };
    if (listener < 0 || !broker.start(options, listener, -1, handleSignal, error))
        return fail(error);
    setenv("QZV_RUNTIME_DIR", directory.path().c_str(), 1);
    if (!command.start(options.command, broker.signals(), error))
        return fail(error);
    ServiceManager ofTheCommand; // what the command has inherited, the services that the bus starts do not
    while (!command.hasEnded())
        broker.iterate();
    return command.status();
}
