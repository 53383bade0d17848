// Objects that the broker starts when they are called: real providers, started by the broker's process.
#include "system/SystemBus.h"
#include "tavix/elements/IntegerElem.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

using namespace Tavix;

namespace {

namespace fs = std::filesystem;

// Is there before the bus is.
struct ActivationFiles {
    TempDir files;
};

// The providers share the standard streams of the bus.
class Activation : ActivationFiles, public SystemBus {
protected:
    Activation() : SystemBus({"--activation-dir", files.path()}) {}

    // Names that a program provides, a shell script with this text.
    std::string provide(std::string const& names, std::string const& script)
    {
        const std::string program = directory.file("provider-" + std::to_string(++_providers));
        std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(program, fs::perms::owner_all);
        provideBy(program, names);
        return program;
    }
    void provideBy(std::string const& program, std::string const& names)
    {
        std::ofstream(files.file(fs::path(program).filename()))
            << R"({"name": )" << names << R"(, "exec": ")" << program << "\"}";
    }
    void reload()
    {
        bus->signal(SIGHUP);
        EXPECT_EQ("Loaded activation config from " + files.path(), bus->waitForLine("activation config"));
        EXPECT_TRUE(bus->waitForLine("]"));
    }
    void expectLines(std::initializer_list<std::string> lines)
    {
        for (std::string const& line : lines)
            EXPECT_EQ(line, bus->readLine());
    }
    int pidOf(char const* object) { return ask(object, "pid")->intValue(); }

private:
    int _providers = 0;
};

std::string makeCall(unsigned id, char const* object, char const* method)
{
    return makeRequest(CallMethod, id, object, method);
}

// What a process has open, and what it does with signals.
std::string describeProcess(int pid)
{
    const std::string process = "/proc/" + std::to_string(pid);
    auto open = std::distance(fs::directory_iterator(process + "/fd"), {});
    std::string text = std::to_string(open) + " descriptors\n", line;
    for (std::ifstream status(process + "/status"); std::getline(status, line);) {
        if (line.compare(0, 3, "Sig") == 0 && line[3] != 'Q')
            text += line + "\n";
    }
    return text;
}

TEST_F(Activation, oneProgramProvidesThreeNamesAndIsStartedAgain)
{
    const std::string starts = directory.file("starts");
    provide(R"(["alarm", "bell", "door"])", "echo started >>" + starts +
                                                "; read go; exec " TAVIX_TEST_ROLE
                                                " owner alarm bell door >/dev/null");
    reload();
    EXPECT_EQ(R"(0 ["clock","tvx","alarm","bell","door"])", call("tvx", "listObjects"));

    // Calls of several callers wait while it starts, each name's in their order.
    RawClient callers[] = {connect(), connect()};
    callers[0].send(makeCall(1, "bell", "count"));
    expectLines({"Activating bell"});
    callers[1].send(makeCall(2, "bell", "count"));
    expectLines({"Activating bell"});
    callers[0].send(makeCall(3, "bell", "count"));
    expectLines({"Activating bell"});
    callers[1].send(makeCall(4, "alarm", "pid"));
    expectLines({"Activating alarm"});
    EXPECT_EQ(R"(0 ["clock","tvx","alarm","bell","door"])", call("tvx", "listObjects"));
    bus->write("go\n");
    EXPECT_EQ("1: 1", callers[0].hear());
    EXPECT_EQ("3: 3", callers[0].hear());
    std::string answers[] = {callers[1].hear(), callers[1].hear()};
    const int pid = pidOf("door");
    EXPECT_THAT(answers, testing::UnorderedElementsAre("2: 2", "4: " + std::to_string(pid)));
    expectLines({"Invoking methods deferred pending alarm activation",
                 "Invoking methods deferred pending bell activation"});
    EXPECT_EQ(R"(0 ["alarm","bell","clock","door","tvx"])", call("tvx", "listObjects"));
    EXPECT_EQ(pid, pidOf("bell"));

    // Once it has ended, the next call starts it again.
    EXPECT_EQ("2 !2 Object connection broken", call("door", "exit", new IntegerElem(0)));
    EXPECT_EQ(R"(0 ["clock","tvx","alarm","bell","door"])", call("tvx", "listObjects"));
    bus->write("go\n");
    EXPECT_NE(pid, pidOf("alarm"));
    expectLines({"Activating alarm", "Invoking methods deferred pending alarm activation"});
    EXPECT_EQ(2 * sizeof "started", fs::file_size(starts));
}

TEST_F(Activation, observingStartsTheObject)
{
    provide(R"("bell")", "exec " TAVIX_TEST_ROLE " owner bell");
    reload();
    RawClient observer = connect();
    EXPECT_EQ("1: null", observer.ask(makeRequest(AddObserver, 1, "bell", "ring")));
    // The waiting call, and what every new owner is told.
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(bus->waitForLine("first ring"));
    settle("bell");
    EXPECT_EQ("2: null", observer.ask(makeRequest(RemoveObserver, 2, "bell", "ring")));
    EXPECT_EQ("last [\"ring\",[\"ring\"," + std::to_string(pidOf("bell")) + "]]", bus->waitForLine("last"));
}

TEST_F(Activation, aProviderThatFailsIsNamedAndItsCallersWait)
{
    const std::string gone = directory.file("nonexistent");
    provideBy(gone, R"("lost")");
    const std::string early = provide(R"(["early", "first"])", "exit 3");
    const std::string killed = provide(R"("killed")", "kill -9 $$");
    const std::string partial =
        provide(R"(["missing", "some"])", "(echo) | exec " TAVIX_TEST_ROLE " owner some");
    reload();
    struct {
        char const* object;
        std::string line;
    } const cases[] = {
        {"lost", gone + " ended with status 1, not registered: lost"},
        {"early", early + " ended with status 3, not registered: early, first"},
        {"killed", killed + " ended with signal 9, not registered: killed"},
        {"missing", partial + " ended with status 0, not registered: missing"},
    };
    RawClient caller = connect();
    unsigned id = 0;
    for (auto const& c : cases) {
        caller.send(makeCall(++id, c.object, "now"));
        EXPECT_EQ(c.line, bus->waitForLine(" ended with "));
        caller.send(makeCall(++id, c.object, "now")); // starts nothing
        expectLines({std::string("Activating ") + c.object});
    }
    EXPECT_EQ(gone + ": No such file or directory", bus->waitForErrorLine(gone));

    // They come to whoever registers the name, in their order, behind the reply.
    EXPECT_TRUE(caller.isQuiet());
    RawClient other = connect();
    EXPECT_EQ("9: null", other.ask(makeRequest(AddSharedObject, 9, "early")));
    EXPECT_EQ("callMethod 3 early.now null", other.hear());
    EXPECT_EQ("callMethod 4 early.now null", other.hear());
}

// It has what the same program has that somebody else started.
TEST_F(Activation, aProviderInheritsNothingOfTheBuss)
{
    provide(R"("bell")", "exec " TAVIX_TEST_ROLE " owner bell");
    reload();
    RawClient clients[] = {connect(), connect(), connect()};
    EXPECT_EQ(describeProcess(owner->pid()), describeProcess(pidOf("bell")));
}

} // namespace
