// The broker as a program: options, the socket's path, the loop, and an end by signal.

#include "common/BusAddress.h"
#include "common/CommandLine.h"
#include "tavix-bus/SocketClaim.h"
#include "tavix-bus/StopSignals.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>
#include <tavix/TavixBus.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <string>

namespace {

enum ExitCode { kStopped = 0, kFailed = 1, kUsage = 2 };

struct Options {
    std::string loop = "select";
    std::string address;
    bool onTcp = false;
    int tcpPort = 0; // 0: TAVX_TCPPORT, or 5010
    int bufferSize = 0;
};

char const kFooter[] =
    R"(The default socket is "tavix-server-uds" in the directory that QZV_RUNTIME_DIR names,
or in the current directory. SIGTERM and SIGINT end the broker and remove its socket.

Exit codes:
  0  ended by SIGTERM or SIGINT
  1  cannot serve: standard error names the path or port and the reason
  2  wrong usage

Examples:
  tavix-bus
  QZV_RUNTIME_DIR=/run/machine tavix-bus --tcp 5010
  tavix-bus --address ./test.socket)";

void describe(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", "tavix-bus " TAVIX_VERSION);
    app.add_option("--loop", options.loop, "The event loop to run on: select, which is the default")
        ->check(CLI::IsMember({"select"}).description(""))
        ->type_name("NAME");
    app.add_option("--address", options.address, "Path of the Unix domain socket, in place of the default")
        ->type_name("PATH");
    app.add_option("--tcp", options.tcpPort,
                   "Serve on TCP as well, on all addresses of the machine;\n"
                   "without PORT on TAVX_TCPPORT, or 5010. Anybody who\n"
                   "reaches the port may use the bus")
        ->expected(0, 1)
        ->check(CLI::Range(1, 65535).description(""))
        ->type_name("[PORT]");
    app.add_option("--buffer-size", options.bufferSize,
                   "Size of the send and the receive buffer of each\n"
                   "client's socket; the system's default when absent")
        ->check(CLI::Range(1, INT_MAX).description(""))
        ->type_name("BYTES");
    app.footer(kFooter);
}

int fail(std::string const& error)
{
    std::fprintf(stderr, "tavix-bus: %s\n", error.c_str());
    return kFailed;
}

int portOf(int fd)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    // The port stands at the same place in both kinds of address.
    return ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
}

// fd is -1 when TCP was not asked for. False with an error in words.
bool openTcp(Options const& options, int& fd, std::string& error)
{
    fd = -1;
    if (!options.onTcp)
        return true;
    fd = startTCPServer(options.tcpPort);
    if (fd >= 0)
        return setCloseOnExec(fd) == 0;
    error = "cannot listen on ";
    error += options.tcpPort ? "TCP port " + std::to_string(options.tcpPort) : "the default TCP port";
    error += std::string(": ") + std::strerror(errno);
    return false;
}

void announce(std::string const& path, int tcpFd)
{
    std::printf("tavix-bus: serving at %s", path.c_str());
    if (tcpFd >= 0)
        std::printf(" and on TCP port %d", portOf(tcpFd));
    std::printf("\n");
}

int serve(Options const& options, std::string const& path)
{
    std::string error;
    SocketClaim claim(path);
    if (!claim.lock(error))
        return fail(error);
    StopSignals signals; // before the socket file is there to be left behind
    int listener = claim.open(error);
    int tcpListener = -1;
    if (listener < 0 || !openTcp(options, tcpListener, error))
        return fail(error);

    SharedPtr<Tavix::PollLoopIf> loop(Tavix::select_loop_glue_new());
    if (!loop.get() || !signals.watch(loop))
        return fail("no memory or descriptor left to start with");
    Tavix::TavixBus bus(loop, options.bufferSize, listener, tcpListener);
    if (!bus.isServing())
        return fail("cannot watch the socket " + path);
    announce(path, tcpListener);
    while (!signals.received())
        loop->iterate();
    claim.withdraw();
    return kStopped;
}

} // namespace

int main(int argc, char** argv) // NOLINT(bugprone-exception-escape): without memory it ends
{
    Options options;
    CLI::App app("The Tavix broker: joins the services of this machine that publish objects and call them.",
                 "tavix-bus");
    describe(app, options);
    try {
        app.parse(argc, argv);
        options.onTcp = app.count("--tcp") > 0;
    } catch (CLI::ParseError const& e) {
        return finishParse(app, e, kUsage);
    }

    std::signal(SIGPIPE, SIG_IGN);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // each line reaches a log when it is written
    std::string path = options.address;
    std::string error;
    if (path.empty() && !findDefaultSocket(path, error))
        return fail(error);
    return serve(options, path);
}
