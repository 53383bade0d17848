// Objects that are started when they are called: the configuration, the states, the processes and the calls
// that wait.
#include "support/TempDir.h"
#include "support/TestBus.h"
#include "tavix/ObjectActivatorInternal.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Tavix;
using testing::HasSubstr;

namespace {

// A program that says what it was started with, and ends when and as it is told to.
class Provider {
public:
    Provider() : path(_directory.file("provider"))
    {
        mkfifo(_directory.file("fifo").c_str(), 0600);
        std::ofstream(path)
            << "#!/bin/sh\ncd " << _directory.path() << "\n"
            << "{ ls -l /proc/$$/fd | grep -v ' [012] ->' | grep -c -e socket: -e anon_inode:\n"
            << "while read name value; do case $name in SigBlk:|SigIgn:) echo $name $value;; esac\n"
            << "done < /proc/$$/status; } > probe\n"
            << "read how < fifo\n[ \"$how\" = kill ] && kill -9 $$\nexit $how\n";
        chmod(path.c_str(), 0700);
    }

    // Waits until one is running.
    void end(std::string const& how)
    {
        const int fd = open(_directory.file("fifo").c_str(), O_WRONLY | O_CLOEXEC);
        const std::string line = how + "\n";
        EXPECT_EQ(static_cast<ssize_t>(line.size()), write(fd, line.data(), line.size()));
        close(fd);
    }

    std::ifstream probe() const { return std::ifstream(_directory.file("probe")); }

private:
    TempDir _directory;

public:
    std::string const path;
};

void writeFile(std::string const& path, std::string const& text)
{
    std::ofstream(path) << text;
}

std::string listOf(TestBus& bus)
{
    RawClient client = bus.connect();
    return client.ask(makeRequest(CallMethod, 1, "tvx", "listObjects"));
}

TEST(Activation, faultsOfAConfigurationHarmNothingElse)
{
    const struct {
        char const* file;
        char const* text;
        std::vector<std::string> lines;
    } files[] = {
        {"good", R"({"name": ["b", "a"], "exec": "/bin/one", "other": 1})", {}},
        {"list",
         R"([{"name": "c", "service": "two"}, 5, {"name": "d", "exec": "x", "service": ""}])",
         {"Neither 'exec' nor 'service' present"}},
        {"empty", "", {}},
        {"blank", " \n", {}},
        {".hidden", R"({"name": "hidden", "exec": "/bin/one"})", {}},
        {"broken", "{\"name\": \"e\",\n \"exec\" }", {"line 2, column 9: syntax error"}},
        {"both", R"({"name": "f", "exec": "x", "service": "y"})", {"Both 'exec' and 'service' specified"}},
        {"nameless", R"({"exec": "x"})", {"Missing 'name' key"}},
        {"number", R"({"name": 7, "exec": "x"})", {"'name' value is not a string"}},
        {"notText", R"({"name": "g", "exec": 7})", {"Neither 'exec' nor 'service' present"}},
        {"noNames", R"({"name": [], "exec": "x"})", {}},
        {"someNames",
         R"({"name": [null, "h", ["i"]], "service": "x"})",
         {"Can't stringify name list elem 0", "Can't stringify name list elem 2"}},
        {"large", R"({"name": "j", "exec": "x"})", {"Larger than 1 MiB"}},
    };
    TempDir directory;
    std::vector<std::string> expected;
    std::string nulls = "[null";
    for (int i = 1; i < 22; ++i)
        nulls += ",null";
    writeFile(directory.file("nulls"), nulls + "]");
    expected.assign(20, directory.file("nulls") + ": Neither 'exec' nor 'service' present");
    expected.push_back(directory.file("nulls") + ": 2 more faults");
    for (auto const& file : files) {
        writeFile(directory.file(file.file), file.text);
        for (std::string const& line : file.lines)
            expected.push_back(directory.file(file.file) + ": " + line);
    }
    std::ofstream(directory.file("large"), std::ios::app) << std::string(1024 * 1024, ' ');
    symlink(directory.file("good").c_str(), directory.file("link").c_str());
    mkfifo(directory.file("fifo").c_str(), 0600);
    mkdir(directory.file("directory").c_str(), 0700);

    TestBus bus;
    testing::internal::CaptureStdout();
    bus.bus->reloadActivationConfig(directory.path().c_str());
    std::istringstream output(testing::internal::GetCapturedStdout());
    std::vector<std::string> faults;
    std::string line;
    while (std::getline(output, line) && line.compare(0, 6, "Loaded") != 0)
        faults.push_back(line.substr(0, line.find(" while"))); // where the JSON reader gives its reasons
    EXPECT_THAT(faults, testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ("Loaded activation config from " + directory.path(), line);
    const std::string table(std::istreambuf_iterator<char>(output), {});
    auto entry = [](char const* name, char const* provider) {
        return std::string("    {\n        \"name\": \"") + name + "\",\n        " + provider +
               ",\n        # idle\n    },\n";
    };
    EXPECT_EQ("[\n" + entry("a", "\"exec\": \"/bin/one\"") + entry("b", "\"exec\": \"/bin/one\"") +
                  entry("c", "\"service\": \"two\"") + entry("d", "\"exec\": \"x\"") +
                  entry("h", "\"service\": \"x\"") + "]\n",
              table);
    EXPECT_EQ(R"(1: ["tvx","a","b","c","d","h"])", listOf(bus));

    testing::internal::CaptureStdout();
    bus.bus->reloadActivationConfig("/nowhere");
    EXPECT_EQ("Failed to load activation config from /nowhere\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(R"(1: ["tvx"])", listOf(bus));
}

TEST(Activation, statesMoveWithCallsAndNamesAndNotWithProcesses)
{
    while (wait(nullptr) > 0) { // for what a bus before has left
    }
    Provider provider;
    StepLoop loop;
    ObjectDirectory names;
    const long descriptors = countDescriptors();
    auto activator = std::make_unique<ObjectActivator>(loop.loop, names);
    for (char const* name : {"a", "b", "c"})
        activator->addEntry(name, provider.path);
    activator->addEntry("other", "/nowhere/program");
    activator->addEntryService("service", "--version"); // asks nothing of the service manager
    auto states = [&] {
        std::string text;
        for (char const* name : {"a", "b", "c"})
            text += std::string(activator->getState(name)) + " ";
        return text;
    };
    auto outputOf = [&](std::function<void()> const& cause) {
        testing::internal::CaptureStdout();
        cause();
        for (const long open = countDescriptors(); countDescriptors() == open;) // until a process is reaped
            loop.loop->iterate();
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_FALSE(activator->activate("x"));
    EXPECT_TRUE(activator->activate("b"));
    EXPECT_TRUE(activator->activate("a"));
    EXPECT_EQ(descriptors + 1, countDescriptors()); // one process
    EXPECT_EQ("activating activating activating ", states());
    activator->activated("a");
    activator->activated("b");
    activator->deactivated("b");
    activator->deactivated("c");
    EXPECT_EQ("active idle activating ", states());
    activator->activated("b");
    EXPECT_THAT(activator->listInactive(), testing::ElementsAre("b", "c", "other", "service"));
    EXPECT_EQ(provider.path + " ended with status 3, not registered: c\n",
              outputOf([&] { provider.end("3"); }));
    EXPECT_EQ("active idle activating ", states());

    names.addObject("a", 1);
    EXPECT_TRUE(activator->activate("b")); // another one, which is to serve a as well
    EXPECT_EQ("activating activating activating ", states());
    activator->removeAllEntries();
    EXPECT_EQ(nullptr, activator->getState("a"));
    EXPECT_EQ(provider.path + " ended with signal 9, not registered: b, c\n",
              outputOf([&] { provider.end("kill"); }));

    activator->addEntry("other", "/nowhere/program");
    testing::internal::CaptureStderr();
    EXPECT_EQ("/nowhere/program ended with status 1, not registered: other\n",
              outputOf([&] { EXPECT_TRUE(activator->activate("other")); }));
    EXPECT_EQ("/nowhere/program: No such file or directory\n", testing::internal::GetCapturedStderr());
    auto startAtOnce = [&] { // and has ended
        activator->addEntry("other", "/nowhere/program");
        EXPECT_TRUE(activator->activate("other"));
        siginfo_t end;
        EXPECT_EQ(0, waitid(P_ALL, 0, &end, WEXITED | WNOWAIT));
    };
    testing::internal::CaptureStdout();
    startAtOnce();
    loop.loop->iterate();
    loop.loop->iterate();
    activator->activated("other"); // while the loop finds the end
    loop.settle();
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit noMore{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &noMore);
    startAtOnce();
    setrlimit(RLIMIT_NOFILE, &limit);
    activator->activated("x");
    EXPECT_EQ("/nowhere/program ended with status 1, not registered: other\n",
              testing::internal::GetCapturedStdout());
    activator->addEntryService("service", "--no-such-option");
    EXPECT_EQ("systemctl start --no-such-option ended with status 1, not registered: service\n",
              outputOf([&] { EXPECT_TRUE(activator->activate("service")); }));
    EXPECT_EQ(descriptors, countDescriptors());

    activator->addEntry("a", provider.path);
    EXPECT_TRUE(activator->activate("a"));
    activator.reset();
    EXPECT_EQ(descriptors, countDescriptors());
    provider.end("0");
}

TEST(Activation, callsWaitForTheObjectAndReachItInOrder)
{
    Provider provider;
    TempDir directory;
    writeFile(directory.file("clock"), R"({"name": ["clock", "door"], "exec": ")" + provider.path + "\"}");
    TestBus bus;
    bus.bus->reloadActivationConfig(directory.path().c_str());
    RawClient callers[] = {bus.connect(), bus.connect()};
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);

    testing::internal::CaptureStdout();
    callers[0].send(makeRequest(CallMethod, 5, "clock", "now"));
    bus.settle();
    callers[1].send(makeRequest(CallMethod, 3, "clock", "now"));
    bus.settle();
    callers[0].send(makeRequest(CallMethod, 4, "door", "now") + makeRequest(BackChannel, 6, "clock"));
    bus.settle();
    EXPECT_EQ("1: null", callers[1].ask(makeRequest(AddObserver, 1, "clock", "tick")));
    EXPECT_TRUE(callers[0].isQuiet());
    EXPECT_EQ(R"(1: ["tvx","clock","door"])", listOf(bus));

    EXPECT_EQ("Activating clock\nActivating clock\nActivating door\nActivating clock\nActivating clock\n",
              testing::internal::GetCapturedStdout());
    bus.bus->reloadActivationConfig(directory.path().c_str()); // does not touch what waits
    RawClient owner = bus.connect();
    testing::internal::CaptureStdout();
    owner.send(makeRequest(AddSharedObject, 1, "clock"));
    for (char const* heard : {"1: null", "callMethod 5 clock.now null", "callMethod 3 clock.now null",
                              "backChannel 6 clock. null"})
        EXPECT_EQ(heard, owner.hear());
    for (int i = 0; i < 2; ++i) // the call that waited, and the one for a new owner
        EXPECT_THAT(owner.hear(), HasSubstr(" clock.firstObserverAdded \"tick\""));
    EXPECT_EQ("Invoking methods deferred pending clock activation\n", testing::internal::GetCapturedStdout());
    callers[1].send(makeRequest(CallMethod, 7, "clock", "now"));
    EXPECT_EQ("callMethod 7 clock.now null", owner.hear());
    EXPECT_EQ(R"(1: ["clock","tvx","clock","door"])", listOf(bus));
    owner.send(makeRequest(AddSharedObject, 8, "door"));
    for (char const* heard : {"8: null", "callMethod 4 door.now null"})
        EXPECT_EQ(heard, owner.hear());

    provider.end("0");
    int descriptors = 0;
    std::string name;
    unsigned long long signalsBlocked = 1, signalsIgnored = ~0ull;
    provider.probe() >> descriptors >> name >> std::hex >> signalsBlocked >> name >> signalsIgnored;
    EXPECT_EQ(1, descriptors); // the listener, which the test has left inheritable
    EXPECT_EQ(0u, signalsBlocked);
    EXPECT_EQ(0u, signalsIgnored & 1ull << (SIGPIPE - 1));
    sigset_t before;
    sigprocmask(SIG_UNBLOCK, &blocked, &before);
    EXPECT_FALSE(sigismember(&before, SIGTERM));
    std::signal(SIGPIPE, SIG_DFL);
}

// The reply finds that the owner has gone: the calls wait for the next one, which is started.
TEST(Activation, callsSurviveAnOwnerThatGoesInTheTurnInWhichItComes)
{
    TempDir directory;
    writeFile(directory.file("clock"), R"({"name": "clock", "exec": "/bin/true"})");
    TestBus bus;
    bus.bus->reloadActivationConfig(directory.path().c_str());
    RawClient caller = bus.connect();
    for (unsigned id : {5u, 3u, 4u})
        caller.send(makeRequest(CallMethod, id, "clock", "now"));
    bus.settle();
    RawClient hasty = bus.connect();
    hasty.send(makeRequest(AddSharedObject, 1, "clock"));
    hasty.close();
    bus.settle();
    EXPECT_TRUE(caller.isQuiet());
    RawClient owner = bus.connectOwner({"clock"});
    for (unsigned id : {5u, 3u, 4u})
        EXPECT_EQ(id, owner.receive().id);
    EXPECT_EQ(R"(1: ["clock","tvx"])", listOf(bus));
    owner.close();
    EXPECT_EQ(R"(1: ["tvx","clock"])", listOf(bus));
}

} // namespace
