// The broker as a program: what its command line says.

#include "common/CommandLine.h"
#include "tavix-bus/Service.h"
#include "tavix-bus/Session.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

char const kFooter[] =
    R"(The default socket is "tavix-server-uds" in the directory that QZV_RUNTIME_DIR names,
or in the current directory. A service manager may pass a Unix domain socket, a TCP
socket or both in place of these (LISTEN_FDS), and is told when the broker is ready
(NOTIFY_SOCKET). SIGTERM and SIGINT end the broker and remove the socket that it made;
SIGHUP makes it read the activation directory again.

With --run-session standard input and output are the command's alone: what the bus and
the services that it starts print goes to standard error. SIGTERM and SIGINT go to the
command, and the bus ends when it does. What else still runs then loses its connection
and is left alone.

Exit codes:
  0    ended by SIGTERM or SIGINT
  1    cannot serve: standard error names the path or port and the reason
  2    wrong usage
and with --run-session that of the command, 128 and the number when a signal ended it, or
  125  there is no session: standard error tells why
  126  the command cannot be run
  127  there is no such command

Examples:
  tavix-bus
  QZV_RUNTIME_DIR=/run/machine tavix-bus --tcp 5010
  tavix-bus --address ./test.socket
  tavix-bus --run-session --activation-dir ./activation -- ./run-tests --all)";

void describe(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", "tavix-bus " TAVIX_VERSION);
    app.add_option("--loop", options.loop,
                   "The event loop to run on: epoll, which is the default,\n"
                   "select or glib")
        ->check(CLI::IsMember({"epoll", "select", "glib"}).description(""))
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
    app.add_option("--activation-dir", options.activationDir,
                   "Directory of the files that say which programs and\n"
                   "services provide objects, and are started when these\n"
                   "are called; TVX_ACTIVATION_CONFIG_DIR when absent")
        ->type_name("DIR");
    app.add_flag("--run-session", options.runSession,
                 "Serve on a bus of its own in a temporary directory for\n"
                 "as long as COMMAND runs, with QZV_RUNTIME_DIR set")
        ->excludes("--address", "--tcp");
    app.add_option("COMMAND", options.command, "The command of a session, and its arguments, behind --")
        ->type_name(" ");
    app.footer(kFooter);
}

// Throws for what the options of a session do not go with.
void checkCommand(Options const& options)
{
    if (!options.runSession && !options.command.empty())
        throw CLI::ExtrasError(options.command);
    if (options.runSession && options.command.empty())
        throw CLI::RequiredError("--run-session: a COMMAND");
}

// A standard descriptor that is closed would be the next socket's, and be printed to.
void openStandardDescriptors()
{
    int fd;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0)
        close(fd);
}

} // namespace

int main(int argc, char** argv) // NOLINT(bugprone-exception-escape): without memory it ends
{
    openStandardDescriptors();
    Options options;
    CLI::App app("The Tavix broker: joins the services of this machine that publish objects and call them.",
                 "tavix-bus");
    describe(app, options);
    try {
        app.parse(argc, argv);
        options.onTcp = app.count("--tcp") > 0;
        checkCommand(options);
    } catch (CLI::ParseError const& e) {
        return finishParse(app, e, kUsage);
    }
    return options.runSession ? runSession(options) : runService(options);
}
