// tavix-bus as a process: how it begins, what ends it, what becomes of its socket, and whom it serves.
#include "support/RawClient.h"
#include "system/Programs.h"
#include "tavix/SocketUtil.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Tavix;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

class BusProgram : public Programs {};

// A listening TCP socket on a port that the system chose.
class BusyPort {
public:
    BusyPort()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(_fd, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(listen(_fd, 1), 0);
        getsockname(_fd, reinterpret_cast<sockaddr*>(&address), &length);
        number = std::to_string(ntohs(address.sin_port));
    }
    ~BusyPort() { release(); }
    void release()
    {
        if (_fd >= 0)
            close(_fd);
        _fd = -1;
    }

    std::string number;

private:
    int _fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

// A socket that hears what a service tells its manager.
class NotifySocket {
public:
    explicit NotifySocket(std::string const& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~NotifySocket() { close(fd); }
    std::string hear() const
    {
        char text[200];
        const ssize_t size = recv(fd, text, sizeof text, 0);
        return std::string(text, size > 0 ? static_cast<size_t>(size) : 0);
    }

    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
};

// The command that runs the bus with `fd`, which is inherited, as the socket that a service manager passes.
Arguments passing(int fd, Arguments const& arguments)
{
    const std::string script =
        "export LISTEN_FDS=1 LISTEN_PID=$$; exec 3<&" + std::to_string(fd) + R"(; exec "$@")";
    Arguments all{"/bin/bash", "-c", script, "bash", TAVIX_BUS_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

} // namespace

TEST_F(BusProgram, BusEndsOnEitherSignalAndRemovesItsSocket)
{
    for (int number : {SIGTERM, SIGINT}) {
        auto bus = startBus();
        EXPECT_THAT(readyLine, HasSubstr(socketPath));
        EXPECT_EQ(call({"nobody", "method"}).status, 4);
        bus->signal(number);
        EXPECT_EQ(bus->waitForExit(), 0);
        EXPECT_FALSE(fs::exists(socketPath));
        EXPECT_EQ(bus->readErrors(), "");
    }
}

TEST_F(BusProgram, BusLeavesAFileThatIsNotItsOwnAnyMore)
{
    auto bus = startBus();
    fs::remove(socketPath);
    std::ofstream(socketPath) << "another's";
    bus->signal(SIGTERM);
    EXPECT_EQ(bus->waitForExit(), 0);
    EXPECT_EQ(contentOf(socketPath), "another's");
}

TEST_F(BusProgram, SecondBusIsRefusedAndAStaleSocketReplaced)
{
    auto bus = startBus();
    ProcessResult second = runBus();
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.errors, HasSubstr(socketPath + " already"));
    EXPECT_EQ(call({"nobody", "method"}).status, 4) << "the first one serves on";

    bus->signal(SIGKILL);
    bus->waitForExit();
    EXPECT_EQ(call({"nobody", "method"}).status, 3);
    bus = startBus();
    EXPECT_EQ(call({"nobody", "method"}).status, 4);
}

TEST_F(BusProgram, OfBusesThatStartTogetherOneServes)
{
    startBus()->signal(SIGKILL); // a stale socket, which each of them would replace
    const int directory = open(dir.path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(directory, LOCK_EX), 0);
    std::vector<std::unique_ptr<ChildProcess>> buses;
    for (int i = 0; i < 3; ++i) {
        buses.push_back(std::make_unique<ChildProcess>(Arguments{TAVIX_BUS_PROGRAM}, environment));
        EXPECT_TRUE(buses.back()->waitForErrorLine("waiting for the lock on directory " + dir.path()));
    }
    close(directory);
    int serving = 0;
    for (auto& bus : buses) {
        if (bus->readLine())
            ++serving;
        else
            EXPECT_EQ(bus->waitForExit(), 1);
    }
    EXPECT_EQ(serving, 1);
    EXPECT_EQ(call({"nobody", "method"}).status, 4);
}

TEST_F(BusProgram, BusThatCannotServeSaysWhyAndTouchesNothing)
{
    BusyPort busy;
    const std::string regular = dir.file("regular");
    std::ofstream(regular) << "kept";
    const std::string missing = dir.file("missing/socket");
    const std::string tooLong = dir.path() + "/" + std::string(108, 'x');
    struct {
        Arguments arguments;
        int status;
        std::string error;
    } const cases[] = {
        {{"--address", regular}, 1, regular + " exists and is not a socket"},
        {{"--address", missing}, 1, missing + ": directory " + dir.path() + "/missing: No such file"},
        {{"--address", regular + "/socket"}, 1, "Not a directory"},
        {{"--address", tooLong}, 1, "107 bytes"},
        {{"--tcp", busy.number}, 1, "TCP port " + busy.number + ": Address already in use"},
        {{"--tcp", "65536"}, 2, "--tcp"},
        {{"--loop", "other"}, 2, "--loop"},
        {{"--buffer-size", "0"}, 2, "--buffer-size"},
        {{"surplus"}, 2, "surplus"},
        {{"--run-session"}, 2, "COMMAND"},
        {{"--run-session", "--tcp", "--", "true"}, 2, "--tcp"},
    };
    for (auto const& c : cases) {
        ProcessResult result = runBus(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments.back();
        EXPECT_THAT(result.errors, HasSubstr(c.error));
    }
    EXPECT_EQ(contentOf(regular), "kept");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1) << "a socket file stayed behind";

    const std::string longDirectory(200, 'x');
    ProcessResult result = runProgram({TAVIX_BUS_PROGRAM}, {"QZV_RUNTIME_DIR=" + longDirectory});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr(longDirectory));
}

TEST_F(BusProgram, BusRunsOnTheLoopOfItsChoice)
{
    for (std::string const loop : {"", "epoll", "select", "glib"}) {
        auto bus = startBus(loop.empty() ? Arguments{} : Arguments{"--loop", loop});
        EXPECT_EQ(call({"nobody", "method"}).status, 4);
        bool onEpoll = false;
        std::error_code closed; // the socket of the call may be, meanwhile
        for (auto const& fd : fs::directory_iterator("/proc/" + std::to_string(bus->pid()) + "/fd"))
            onEpoll |= fs::read_symlink(fd, closed) == "anon_inode:[eventpoll]";
        EXPECT_EQ(onEpoll, loop.empty() || loop == "epoll");
        bus->signal(SIGTERM);
        EXPECT_EQ(bus->waitForExit(), 0);
    }
}

TEST_F(BusProgram, BusServesOnTcpAsWell)
{
    BusyPort port;
    port.release();
    auto bus = startBus({"--tcp", port.number, "--buffer-size", "65536", "--loop", "select"});
    EXPECT_THAT(readyLine, HasSubstr("TCP port " + port.number));
    auto service = startExample("first_service");
    // Once the bus has answered this, it has taken in the object, too: both came over one listener.
    EXPECT_EQ(call({"greeter", "greet"}).status, 0);
    const std::string address = "localhost:" + port.number;
    ProcessResult result = call({"--address", address, "greeter", "greet", "\"TCP\""});
    EXPECT_EQ(result.output, "\"Hello, TCP!\"\n");
    EXPECT_EQ(result.errors, "");
}

TEST_F(BusProgram, FullPipeOnStandardOutputDoesNotStopTheBus)
{
    auto bus = startBus();
    RawClient client(connectToServerUnixDomain(socketPath.c_str()));
    const std::string name(10000, 'x');
    const unsigned asked = 60; // more than the pipe and what the bus keeps
    auto askUnknown = [&](unsigned i) {
        const std::string object = name + std::to_string(i);
        EXPECT_THAT(client.ask(makeRequest(Tavix::CallMethod, i, object, "m")),
                    HasSubstr("Object not found"));
    };
    for (unsigned i = 0; i < asked; ++i)
        askUnknown(i);
    unsigned kept = 0;
    std::string line = bus->readLine().value_or("");
    for (; line == "Activation failed for " + name + std::to_string(kept) + "!"; ++kept)
        line = bus->readLine().value_or("");
    EXPECT_EQ(line, "tavix-bus: " + std::to_string(asked - kept) + " lines of output were lost");
    EXPECT_GT(kept, 20U);
    askUnknown(asked);
    EXPECT_THAT(bus->readLine().value_or(""), HasSubstr("x" + std::to_string(asked)));
    bus->signal(SIGTERM);
    EXPECT_EQ(bus->waitForExit(), 0);
}

TEST_F(BusProgram, ServiceManagerPassesTheSocketAndIsTold)
{
    const std::string activation = dir.file("activation");
    const std::string provider = dir.file("provider");
    fs::create_directory(activation);
    std::ofstream(provider) << "#!/bin/sh\nenv >" << provider << ".env; exit 5\n";
    fs::permissions(provider, fs::perms::owner_all);

    NotifySocket manager(dir.file("notify"));
    const int listener = startUnixDomainServer(socketPath.c_str());
    ChildProcess bus(passing(listener, {"--activation-dir", activation}),
                     {"NOTIFY_SOCKET=" + dir.file("notify")});
    close(listener);
    EXPECT_EQ(manager.hear(), "READY=1");
    EXPECT_TRUE(bus.waitForLine("serving at " + socketPath));
    RawClient client(connectToServerUnixDomain(socketPath.c_str()));
    const std::string request = makeRequest(Tavix::CallMethod, 1, "provided", "method");
    EXPECT_THAT(client.ask(request), HasSubstr("Object not found"));

    std::ofstream(activation + "/one") << R"({"name": "provided", "exec": ")" << provider << "\"}";
    bus.signal(SIGHUP);
    EXPECT_THAT(manager.hear(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
    EXPECT_EQ(manager.hear(), "READY=1");
    client.send(request);
    EXPECT_TRUE(bus.waitForLine("ended with status 5"));
    const std::string variables = contentOf(provider + ".env");
    EXPECT_THAT(variables, HasSubstr("QZV_RUNTIME_DIR=" + dir.path() + "\n"));
    for (char const* name : {"NOTIFY_SOCKET", "LISTEN_", "TVX_ACTIVATION_CONFIG_DIR"})
        EXPECT_THAT(variables, testing::Not(HasSubstr(name)));

    bus.signal(SIGTERM);
    EXPECT_EQ(manager.hear(), "STOPPING=1");
    EXPECT_EQ(bus.waitForExit(), 0);
    EXPECT_TRUE(fs::exists(socketPath)) << "it is not the bus's";

    ProcessResult refused = runProgram(passing(manager.fd, {}), environment);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("descriptor 3, which was passed, is no listening"));
}

TEST_F(BusProgram, SessionLastsAsLongAsItsCommandAndAnswersItsStatus)
{
    const std::string tool = TAVIXCTL_PROGRAM;
    const std::string inherited = "cat; grep -E 'SigBlk|SigIgn' /proc/self/status";
    const std::string expected = runProgram({"/bin/sh", "-c", inherited}, {}, "input").output;
    struct {
        Arguments command;
        int status;
        std::string output; // all of it
        std::string error;  // a part of it
    } const cases[] = {
        {{"sh", "-c", "exit 7"}, 7, "", ""},
        {{"sh", "-c", "kill -KILL $$"}, 128 + SIGKILL, "", ""},
        {{dir.path() + "/missing"}, 127, "", "cannot run " + dir.path() + "/missing: No such file"},
        {{dir.path()}, 126, "", "Permission denied"},
        {{"sh", "-c", inherited}, 0, expected, ""},
        {{tool, "call", "tvx", "listObjects"}, 0, "[\"tvx\"]\n", "Failed to load activation config"},
        {{tool, "call", "nobody", "method"}, 4, "", "no object"},
    };
    const Arguments session{TAVIX_BUS_PROGRAM, "--run-session", "--activation-dir", dir.file("missing"),
                            "--"};
    for (auto const& c : cases) {
        Arguments all = session;
        all.insert(all.end(), c.command.begin(), c.command.end());
        ProcessResult result = runProgram(all, {"TMPDIR=" + dir.path()}, "input");
        EXPECT_EQ(result.status, c.status) << result.errors;
        EXPECT_EQ(result.output, c.output);
        EXPECT_THAT(result.errors, HasSubstr(c.error));
        EXPECT_TRUE(fs::is_empty(dir.path())) << c.command.front();
    }

    Arguments waiting = session;
    waiting.insert(waiting.end(), {"sh", "-c", "trap 'exit 3' TERM; echo $QZV_RUNTIME_DIR; read line"});
    ChildProcess child(waiting, {"TMPDIR=" + dir.path()});
    EXPECT_THAT(child.readLine().value_or(""), HasSubstr(dir.path() + "/tavix-session."));
    child.signal(SIGTERM);
    EXPECT_EQ(child.waitForExit(), 3);
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // whose heaps keep what is freed
TEST_F(BusProgram, WhatALongQueueHeldGoesBackToTheSystem)
{
    auto bus = startBus();
    auto kibibytes = [&] {
        const std::string status = contentOf("/proc/" + std::to_string(bus->pid()) + "/status");
        return std::stol(status.substr(status.find("VmRSS:") + 6));
    };
    const long before = kibibytes();
    for (size_t size : {100, 4096}) {
        RawClient observer(connectToServerUnixDomain(socketPath.c_str()));
        RawClient sender(connectToServerUnixDomain(socketPath.c_str()));
        observer.ask(makeRequest(AddObserver, 1, "flood", "came"));
        const size_t count = size == 100 ? 300000 : 15000;
        for (size_t i = 0; i < count; ++i)
            sender.send(makeRequest(Event, 0, "flood", "came", makeText(size)));
        sender.ask(makeRequest(AddObserver, 2, "what stays at the heap's end", std::to_string(size)));
        ASSERT_GT(kibibytes(), before + 45000);
        for (size_t i = 0; i < count && size != 100; ++i) // else it dies
            observer.receive();
        observer.close();
        for (int looks = 0; looks < 1000 && kibibytes() > before + 17000; ++looks)
            poll(nullptr, 0, 20); // and nothing happens on the bus
        EXPECT_LT(kibibytes(), before + 17000) << size;
    }
}
#endif
