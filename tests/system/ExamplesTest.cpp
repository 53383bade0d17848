// The examples as processes.
#include "support/TestBus.h"
#include "system/Programs.h"
#include "tavix/elements/DoubleElem.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

class Examples : public Programs {
protected:
    // A program in C, under valgrind where there is one: an error or a leak then makes its status 99.
    static Arguments watched(std::string const& name, Arguments const& arguments = {})
    {
        const std::string program = TAVIX_EXAMPLES_DIR "/" + name;
#ifdef TAVIX_VALGRIND
        Arguments all{TAVIX_VALGRIND, "-q", "--error-exitcode=99", "--leak-check=full", program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
#else
        return command(program, arguments);
#endif
    }
};

// What the kernel says of a process's timer.
std::string timerOf(int pid)
{
    const std::string process = "/proc/" + std::to_string(pid);
    for (auto const& entry : std::filesystem::directory_iterator(process + "/fd")) {
        if (std::filesystem::read_symlink(entry) == "anon_inode:[timerfd]")
            return contentOf(process + "/fdinfo/" + entry.path().filename().string());
    }
    return "no timer";
}

} // namespace

TEST_F(Examples, MachineExampleAnswersEverythingAndEndsInOrder)
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

TEST_F(Examples, MachineSendsItsLoadWhileSomebodyObservesIt)
{
    auto bus = startBus();
    auto service = startExample("machine_service");
    ProcessResult observer = run(TAVIX_EXAMPLES_DIR "/first_observer", {});
    EXPECT_EQ(observer.status, 0);
    EXPECT_THAT(observer.output, testing::ContainsRegex("machine\\.load \\{.*\"1min\":.*\\}\n"));
    for (char const* object : {"tvx", "machine"}) // behind the news that nobody observes any more
        EXPECT_EQ(call({object, "generateInterfaceDescription"}).status, 0);
    EXPECT_THAT(timerOf(service->pid()), HasSubstr("it_interval: (0, 0)"));

    for (Arguments const& wrong : {Arguments{"first", "\"disk\""},
                                   {"first", "5"},
                                   {"last", "\"load\""},
                                   {"last", "[\"load\"]"},
                                   {"last", "[\"disk\",null]"}}) {
        const std::string method = wrong[0] + (wrong[0] == "first" ? "ObserverAdded" : "ObserverRemoved");
        EXPECT_THAT(call({"machine", method, wrong[1]}).errors, HasSubstr(method + " takes")) << wrong[1];
    }
}

TEST_F(Examples, ProgramsInCDoTheSameAndLeaveNothingBehind)
{
    auto bus = startBus();
    auto greeter = startExample("first_service");
    ProcessResult client = runProgram(watched("first_c_client", {"C"}), environment);
    EXPECT_EQ(client.output, "Hello, C!\n");
    EXPECT_EQ(client.status, 0) << client.errors;

    ChildProcess kettle(watched("kettle_service"), environment);
    ASSERT_TRUE(kettle.waitForLine("serving"));
    client = runProgram(watched("kettle_client", {"22"}), environment);
    EXPECT_EQ(client.output,
              "state\n  degrees: 20.000000\n  heating: false\n"
              "boil to 22 degrees\n  kettle.temperature 21\n  kettle.temperature 22\n  boil: 22.000000\n"
              "boil to 200 degrees\n  PROXY_EXCEPTION: boil takes a number of degrees up to 100\n");
    EXPECT_EQ(client.status, 0) << client.errors;

    // Calls that are not answered when it is switched off, and when it ends.
    StepLoop loop;
    Tavix::TavixProxy proxy(loop.loop);
    ASSERT_TRUE(proxy.connect(socketPath.c_str(), 0));
    Answers answers;
    Tavix::RemoteProxyResult result;
    for (char const* method : {"switchOff", "state"}) {
        const std::size_t answered = answers.texts.size();
        proxy.callMethodAsync("kettle", "boil", nullptr, Answers::note, &answers);
        delete proxy.callMethod("kettle", method, nullptr, result); // the call before it has begun
        if (answered == 1)
            kettle.signal(SIGTERM);
        while (answers.texts.size() == answered)
            loop.loop->iterate();
    }
    EXPECT_THAT(answers.texts[0], HasSubstr("switched off"));
    EXPECT_THAT(answers.texts[1], HasSubstr("the service is ending"));
    EXPECT_EQ(kettle.waitForExit(), 0) << kettle.readErrors();
}

TEST_F(Examples, ReadmeShowsTheFirstProgramsAndTheyRun)
{
    const std::string readme = contentOf(TAVIX_SOURCE_DIR "/README.md");
    for (std::string name : {"first_service.cpp", "first_client.cpp", "first_observer.cpp",
                             "check_settings.cpp", "first_c_client.c"}) {
        const std::string program = contentOf(TAVIX_SOURCE_DIR "/examples/" + name);
        EXPECT_THAT(readme, HasSubstr("```" + name.substr(name.rfind('.') + 1) + "\n" + program + "```\n"))
            << name;
    }
    auto bus = startBus();
    auto service = startExample("first_service");
    EXPECT_EQ(run(TAVIX_EXAMPLES_DIR "/first_client", {}).output, "Hello, world!\n");
    bus->signal(SIGTERM);
    EXPECT_EQ(service->waitForExit(), 0);

    const std::string schema = dir.file("schema"), settings = dir.file("settings");
    std::ofstream(schema) << R"({"properties": {"port": {"type": "integer"}}})";
    std::ofstream(settings) << R"({"port": 80})";
    EXPECT_THAT(run(TAVIX_EXAMPLES_DIR "/check_settings", {schema, settings}).output,
                HasSubstr("<IntegerElem>80</IntegerElem>"));
    std::ofstream(settings) << R"({"port": "80"})";
    EXPECT_EQ(run(TAVIX_EXAMPLES_DIR "/check_settings", {schema, settings}).errors,
              settings + ": #/port: Expected 'integer' but got 'string'.\n");
}
