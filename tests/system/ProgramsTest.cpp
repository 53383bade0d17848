// tavix-bus, tavixctl and the examples as processes: what a user of the command line meets.
#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "support/TestBus.h"
#include "tavix/elements/DoubleElem.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <sstream>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

std::string contentOf(std::string const& file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

class Programs : public testing::Test {
protected:
    static Arguments command(std::string const& program, Arguments const& arguments)
    {
        Arguments all{program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    // Started, and ready to serve as the line that it prints says.
    std::unique_ptr<ChildProcess> start(std::string const& program, Arguments const& arguments = {})
    {
        auto child = std::make_unique<ChildProcess>(command(program, arguments), environment);
        readyLine = child->readLine().value_or("");
        EXPECT_NE(readyLine, "") << child->readErrors();
        return child;
    }
    std::unique_ptr<ChildProcess> startBus(Arguments const& arguments = {})
    {
        return start(TAVIX_BUS_PROGRAM, arguments);
    }
    std::unique_ptr<ChildProcess> startExample(std::string const& name)
    {
        return start(TAVIX_EXAMPLES_DIR "/" + name);
    }

    ProcessResult run(std::string const& program, Arguments const& arguments, std::string const& input = {})
    {
        return runProgram(command(program, arguments), environment, input);
    }
    ProcessResult runBus(Arguments const& arguments = {}) { return run(TAVIX_BUS_PROGRAM, arguments); }
    ProcessResult call(Arguments arguments, std::string const& input = {})
    {
        arguments.insert(arguments.begin(), "call");
        return run(TAVIXCTL_PROGRAM, arguments, input);
    }

    TempDir dir;
    const std::string socketPath = dir.file("tavix-server-uds");
    const Arguments environment{"QZV_RUNTIME_DIR=" + dir.path()};
    std::string readyLine;
};

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

} // namespace

TEST_F(Programs, BusEndsOnEitherSignalAndRemovesItsSocket)
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

TEST_F(Programs, BusLeavesAFileThatIsNotItsOwnAnyMore)
{
    auto bus = startBus();
    fs::remove(socketPath);
    std::ofstream(socketPath) << "another's";
    bus->signal(SIGTERM);
    EXPECT_EQ(bus->waitForExit(), 0);
    EXPECT_EQ(contentOf(socketPath), "another's");
}

TEST_F(Programs, SecondBusIsRefusedAndAStaleSocketReplaced)
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

TEST_F(Programs, OfBusesThatStartTogetherOneServes)
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

TEST_F(Programs, BusThatCannotServeSaysWhyAndTouchesNothing)
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

TEST_F(Programs, BusServesOnTcpAsWell)
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

TEST_F(Programs, CallTellsCausesApart)
{
    auto bus = startBus();
    auto service = startExample("machine_service");
    const std::string nowhere = dir.file("nowhere");
    const std::string tooDeep = std::string(16, '[') + std::string(16, ']');
    struct {
        Arguments arguments;
        std::string input;
        int status;
        std::string output; // a part of it
        std::string error;  // a part of it
    } const cases[] = {
        {{"machine", "uptime"}, "", 0, "\"seconds\":", ""},
        {{"machine", "list", "\"" + dir.path() + "\""},
         "",
         0,
         R"({"kind":"other","name":"tavix-server-uds"})",
         ""},
        {{"machine", "list", "-"}, "\n\"" + dir.path() + "\"\n", 0, "tavix-server-uds", ""},
        {{"machine", "processes", "1"}, "", 0, "\"residentKb\":", ""},
        {{"machine", "measureLoad", "0.01"}, "", 0, "\"busyPercent\":", ""},
        {{"machine", "processes", "-1"}, "", 1, "", "from 1 to 1000 (code 100)"},
        {{"machine", "list", "{}"}, "", 1, "", "list takes the path of a directory"},
        {{"machine", "list", "\"/nonexistent\""}, "", 1, "", "No such file or directory (code 101)"},
        {{"machine", "unknown"}, "", 1, "", "Unknown method name (code -1)"},
        {{"machine", "list", "[1,"}, "", 2, "", "line 1, column "},
        {{"machine", "list", "-"},
         "{\n\"a\": tru}",
         2,
         "",
         "standard input is not usable JSON: line 2, column "},
        {{"machine", "list", ""}, "", 2, "", "no value"},
        {{"machine", "processes", "3000000000"}, "", 2, "", "3000000000 does not fit in 32 bits"},
        {{"machine", "list", tooDeep}, "", 2, "", "nested deeper"},
        {{"machine", "list", "{\"\":1}"}, "", 2, "", "cannot be sent"},
        {{"machine", "list", "-"}, '"' + std::string(200000, 'x') + '"', 2, "", "196608"},
        {{"machine"}, "", 2, "", "METHOD is required"},
        {{"machine", "uptime", "--timeout", "nan"}, "", 2, "", "--timeout"},
        {{"--address", nowhere, "machine", "uptime"}, "", 3, "", nowhere + ": No such file or directory"},
        {{"nobody", "uptime"}, "", 4, "", "no object \"nobody\""},
        {{"--timeout", "0.05", "machine", "measureLoad", "60"}, "", 5, "", "timed out"},
    };
    for (auto const& c : cases) {
        ProcessResult result = call(c.arguments, c.input);
        EXPECT_EQ(result.status, c.status) << result.errors;
        EXPECT_THAT(result.output, HasSubstr(c.output));
        EXPECT_THAT(result.errors, HasSubstr(c.error));
        EXPECT_EQ(result.output.empty(), c.status != 0) << result.output;
        EXPECT_EQ(result.errors.empty(), c.status == 0) << result.errors;
    }
}

TEST_F(Programs, CallTellsAnEndOfTheBusFromOneOfTheObject)
{
    auto bus = startBus();
    Tavix::TavixProxy* owner = nullptr;
    StepLoop loop;
    Service::Invocation taken; // the call is under way, and stays unanswered
    Service service([&](Service::Invocation call) {
        taken = call;
        return true;
    });
    for (int expected : {1, 3}) {
        auto proxy = std::make_unique<Tavix::TavixProxy>(loop.loop);
        owner = proxy.get();
        ASSERT_TRUE(owner->connect(socketPath.c_str(), 0));
        ASSERT_EQ(owner->addSharedObject("slow", &service), Tavix::PROXY_OK);
        ChildProcess caller({TAVIXCTL_PROGRAM, "call", "slow", "method"}, environment);
        taken = {};
        while (!taken.get())
            loop.loop->iterate();
        if (expected == 3)
            bus->signal(SIGKILL);
        else
            proxy.reset();
        EXPECT_EQ(caller.waitForExit(), expected);
        EXPECT_THAT(caller.readErrors(), HasSubstr(expected == 3 ? "the bus at " + socketPath : "(code 2)"));
        taken = {};
    }
}

TEST_F(Programs, MachineExampleAnswersEverythingAndEndsInOrder)
{
    auto bus = startBus();
    auto service = startExample("machine_service");
    ProcessResult client = run(TAVIX_EXAMPLES_DIR "/machine_client", {dir.path()});
    EXPECT_EQ(client.status, 0) << client.errors;
    for (char const* heading : {"uptime", "load", "memory", "processes", "directory", "processors"})
        EXPECT_THAT(client.output, HasSubstr(heading));

    // It ends in the middle of a measurement, and the caller is told.
    StepLoop loop;
    Tavix::TavixProxy proxy(loop.loop);
    ASSERT_TRUE(proxy.connect(socketPath.c_str(), 0));
    Answers answers;
    Tavix::DoubleElem seconds(60);
    proxy.callMethodAsync("machine", "measureLoad", &seconds, Answers::note, &answers);
    Tavix::RemoteProxyResult result;
    delete proxy.callMethod("machine", "uptime", nullptr, result); // the call before it has begun
    service->signal(SIGTERM);
    while (answers.texts.empty())
        loop.loop->iterate();
    EXPECT_THAT(answers.texts[0], HasSubstr("the service is ending"));
    EXPECT_EQ(service->waitForExit(), 0);
}

TEST_F(Programs, ReadmeShowsTheFirstProgramsAndTheyRun)
{
    const std::string readme = contentOf(TAVIX_SOURCE_DIR "/README.md");
    for (char const* name : {"first_service", "first_client"}) {
        const std::string program = contentOf(std::string(TAVIX_SOURCE_DIR "/examples/") + name + ".cpp");
        EXPECT_THAT(readme, HasSubstr("```cpp\n" + program + "```\n")) << name;
    }
    auto bus = startBus();
    auto service = startExample("first_service");
    EXPECT_EQ(run(TAVIX_EXAMPLES_DIR "/first_client", {}).output, "Hello, world!\n");
    bus->signal(SIGTERM);
    EXPECT_EQ(service->waitForExit(), 0);
}
