// tavixctl as a process: what a user of the command line meets.
#include "support/TestBus.h"
#include "system/Programs.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

using namespace Tavix;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

class Tool : public Programs {
protected:
    ProcessResult tool(Arguments const& arguments, std::string const& input = {})
    {
        return run(TAVIXCTL_PROGRAM, arguments, input);
    }
    std::string outputOf(Arguments const& arguments)
    {
        ProcessResult result = tool(arguments);
        EXPECT_EQ(0, result.status) << result.errors;
        return result.output;
    }
    // Started, and its subscriptions stand.
    std::unique_ptr<ChildProcess> follow(Arguments const& arguments)
    {
        auto child = std::make_unique<ChildProcess>(command(TAVIXCTL_PROGRAM, arguments), environment);
        EXPECT_TRUE(child->waitForErrorLine(arguments[0] == "watch" ? "watching" : "observing"));
        return child;
    }
    // A bus that would start a program for the object "zoo".
    std::unique_ptr<ChildProcess> startBusWithZoo()
    {
        const std::string program = dir.file("provider");
        std::ofstream(program) << "#!/bin/sh\nexec " TAVIX_TEST_ROLE " owner zoo\n";
        fs::permissions(program, fs::perms::owner_all);
        fs::create_directory(dir.file("activation"));
        std::ofstream(dir.file("activation/zoo")) << R"({"name": "zoo", "exec": ")" + program + "\"}";
        auto bus = std::make_unique<ChildProcess>(
            Arguments{TAVIX_BUS_PROGRAM, "--activation-dir", dir.file("activation")}, environment);
        EXPECT_TRUE(bus->waitForLine("serving"));
        return bus;
    }
};

// What bash would offer for the last word of each line, on a line each.
std::string completions(std::vector<std::string> const& lines, Arguments const& environment)
{
    std::string script = "source '" TAVIX_SOURCE_DIR "/programs/tavixctl/completion/tavixctl'\n";
    for (std::string const& line : lines)
        script += "COMP_WORDS=('" TAVIXCTL_PROGRAM "' " + line +
                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tavixctl; echo \"${COMPREPLY[*]}\"\n";
    return runProgram({"/bin/bash", "-c", script}, environment).output;
}

} // namespace

TEST_F(Tool, CallTellsCausesApart)
{
    auto bus = startBus();
    auto service = startExample("machine_service");
    const std::string nowhere = dir.file("nowhere");
    const std::string report = dir.file("report"), pipeFile = dir.file("pipe");
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC) + close(ends[0]) + mkfifo(pipeFile.c_str(), 0600));
    const std::string descriptors = "/proc/" + std::to_string(service->pid()) + "/fd";
    auto count = [&] { return std::distance(fs::directory_iterator(descriptors), {}); };
    call({"machine", "uptime"});
    const auto open = count();
    const std::string tooDeep = std::string(129, '[') + std::string(129, ']');
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
        {{"--format", "xml", "machine", "list", "<StringElem>" + dir.path() + "</StringElem>"},
         "",
         0,
         "<child name=\"kind\">\n<StringElem>other</StringElem></child>",
         ""},
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
        {{"--format", "xml", "machine", "list", "<a>"}, "", 2, "", "line 1, column 4: no element found"},
        {{"machine", "list", ""}, "", 2, "", "no value"},
        {{"machine", "processes", "3000000000"}, "", 2, "", "3000000000 does not fit in 32 bits"},
        {{"machine", "list", tooDeep}, "", 2, "", "nested deeper"},
        {{"machine", "list", "[1e300]"}, "", 2, "", "the double at #/0 cannot be kept whole"},
        {{"machine", "list", "{\"\":1}"}, "", 2, "", "cannot be sent"},
        {{"machine", "list", "-"}, '"' + std::string(200000, 'x') + '"', 2, "", "196608"},
        {{"machine"}, "", 2, "", "METHOD is required"},
        {{"machine", "uptime", "--timeout", "nan"}, "", 2, "", "--timeout"},
        {{"--address", nowhere, "machine", "uptime"}, "", 3, "", nowhere + ": No such file or directory"},
        {{"nobody", "uptime"}, "", 4, "", "no object \"nobody\""},
        {{"--timeout", "0.05", "machine", "measureLoad", "60"}, "", 5, "", "timed out"},
        {{"--fd", "to=" + report + ":w", "--fd", "x=/dev/null", "machine", "report"}, "", 0, "", ""},
        {{"--fd", "x=" + report, "machine", "uptime"}, "", 0, "\"seconds\":", ""},
        {{"--fd", "to=" + report, "machine", "report"}, "", 1, "", "cannot write: Bad file descriptor"},
        {{"--fd", "to=/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends[1]) + ":w", "machine",
          "report"},
         "",
         1,
         "",
         "cannot write: Broken pipe"},
        {{"--fd", "a=" + report + ":w", "--fd", "a=" + report, "machine", "report"},
         "",
         2,
         "",
         "is a \"a\" already"},
        {{"--fd", "to", "machine", "report"}, "", 2, "", "--fd takes NAME=PATH"},
        {{"--fd", "to=" + report + ":x", "machine", "report"}, "", 2, "", "report:x: No such file"},
        {{"--fd", "to=" + report, "machine", "report", "[]"}, "", 2, "", "this one is none"},
        {{"--timeout", "0.05", "--fd", "to=" + pipeFile + ":w", "machine", "report"},
         "",
         5,
         "",
         "while opening"},
    };
    for (auto const& c : cases) {
        ProcessResult result = call(c.arguments, c.input);
        EXPECT_EQ(result.status, c.status) << result.errors;
        EXPECT_THAT(result.output, HasSubstr(c.output));
        EXPECT_THAT(result.errors, HasSubstr(c.error));
        EXPECT_EQ(result.output.empty(), c.status != 0) << result.output;
        EXPECT_EQ(result.errors.empty(), c.status == 0) << result.errors;
    }
    EXPECT_THAT(contentOf(report), HasSubstr("\"seconds\":"));
    EXPECT_EQ(open, count());
    close(ends[1]);
}

TEST_F(Tool, ConvertGoesThroughEveryForm)
{
    const std::string json = R"({"a":[1,2.5,"x<\u00e9\r\n",true,null,{}],"b\t\r\n\"":"\t"})";
    const std::string first = dir.file("value.json");
    std::ofstream(first) << json;
    std::string file = first;
    for (std::string form : {"xml", "hex", "json", "ees", "xml", "ees", "hex", "xml", "json"}) {
        const std::string next = dir.file("next." + form);
        std::ofstream(next) << outputOf({"convert", "--to", form, file});
        file = next;
    }
    EXPECT_EQ(tool({"convert", "--from", "json", "--to", "json"}, json).output,
              outputOf({"convert", "--to", "json", file}));
    EXPECT_EQ("  : List\n    0 : : a\\x0d\n", tool({"convert", "--from", "json"}, R"(["a\r"])").output);

    struct {
        Arguments options;
        std::string input;
        std::string error; // a part of it
    } const cases[] = {
        {{"--from", "json"}, "[1,\n}", "standard input is not usable JSON: line 2, column 1: "},
        {{"--from", "xml"}, "<MapElem>\n <child>\n</MapElem>", "XML: line 3, column 3: mismatched tag"},
        {{"--from", "xml"}, "<other/>", "the root tag is none of those of a value"},
        {{"--from", "hex"}, "00 00\n 0", "line 2, column 2: not a pair of hexadecimal digits"},
        {{"--from", "hex"}, "00 00", "a message begins with a header of 17 bytes, and there are 2"},
        {{"--from", "ees"}, std::string(20, 'x'), "at offset 4 is not the mark"},
        {{"--from", "hex"},
         "00000010 23240102 00000000 01 00000000",
         "by its size field the message has 20 bytes, and there are 17"},
        {{"--from", "hex"}, "0000000D 23240109 00000000 01 00000000", "cannot be decoded"},
        {{"--from", "hex", "--to", "xml"},
         "0000002E 23240102 00000000 01 00000000 0100000200000019 0D0100000006 726573756C74 0D0100000007 "
         "61620163646566",
         "a reader would stop at line 3, column 15: not well-formed"},
        {{"--from", "hex", "--to", "xml"},
         "0000002E 23240102 00000000 01 00000000 0100000200000019 0D0100000006 726573756C74 0D0100000007 "
         "61620063646566",
         "the text at # cannot be kept whole"},
        {{"--from", "json", "--to", "xml"}, R"([{"a": [1.5, 1e300]}])", "the double at #/0/a/1 cannot be"},
        {{"--from", "json", "--to", "ees"}, "-1e22", "the double at # cannot be kept whole"},
        {{"--from", "json", "--to", "ees"}, R"({"":1})", "a key of the map is empty"},
        {{}, "1", "add --from"},
        {{dir.file("none.json")}, "", "cannot read " + dir.file("none.json") + ": No such file or directory"},
        {{"--to", "yaml"}, "1", "--to"},
    };
    for (auto const& c : cases) {
        Arguments arguments = {"convert"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        ProcessResult result = tool(arguments, c.input);
        EXPECT_EQ(result.status, 2) << c.error;
        EXPECT_THAT(result.errors, HasSubstr(c.error));
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(Tool, ValidateListsWhatIsWrong)
{
    const std::string schema = dir.file("schema"), good = dir.file("good"), bad = dir.file("bad"),
                      xml = dir.file("xml"), endless = dir.file("endless");
    std::ofstream(schema) << R"({"required": ["name"], "properties": {"name": {"minLength": 2}, "deep": )"
                          << std::string(20, '[') << std::string(20, ']') << "}}";
    std::ofstream(good) << R"({"name": "ok", "more": 1})";
    std::ofstream(bad) << R"({"name": "x"})";
    std::ofstream(xml) << "\n<MapElem><child name='a'><NullElem/></child></MapElem>";
    std::ofstream(endless) << R"({"pattern": "(a|b)*c"})";
    const std::string shortName = "#/name: String must be at least 2 characters long.\n",
                      noName = "#: Property 'name' is required.\n";
    struct {
        Arguments arguments;
        std::string input;
        int status;
        std::string output, error;
    } const cases[] = {
        {{schema, good}, "", 0, "", ""},
        {{schema}, R"({"name": "x"})", 1, shortName, ""},
        {{"--closed", schema, good}, "", 1, "#: Unexpected property 'more'.\n", ""},
        {{schema, good, bad, xml}, "", 1, bad + ": " + shortName + xml + ": " + noName, ""},
        {{"--json", schema, "-"},
         "{}",
         1,
         R"({"file":"-","path":"#","message":"Property 'name' is required."})"
         "\n",
         ""},
        {{schema, dir.file("none"), bad}, "", 2, bad + ": " + shortName, "none: No such file or directory"},
        {{schema}, "{", 2, "", "standard input is not usable JSON: line 1, column 2"},
        {{"-", "-"}, "{}", 2, "", "can be read once only"},
        {{"-", good}, "[]", 2, "", "the schema in - is not an object"},
        {{endless}, '"' + std::string(300000, 'a') + '"', 2, "", "a pattern of the schema cannot be matched"},
    };
    for (auto const& c : cases) {
        Arguments arguments = {"validate"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        ProcessResult result = tool(arguments, c.input);
        EXPECT_EQ(result.status, c.status) << result.errors;
        EXPECT_EQ(result.output, c.output);
        EXPECT_THAT(result.errors, HasSubstr(c.error));
    }

    // An argument that does not fit is not sent: there is no bus that could take it.
    EXPECT_EQ(call({"--check", schema, "machine", "uptime", R"({"name": "ok"})"}).status, 3);
    EXPECT_EQ(call({"--check", schema, "machine", "uptime"}).status, 3); // null is no object, and passes
    ProcessResult refused = call({"--check", schema, "machine", "uptime", "{}"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors, "tavixctl: the argument does not fit its schema: " + noName);
}

TEST_F(Tool, CallTellsAnEndOfTheBusFromOneOfTheObject)
{
    auto bus = startBus();
    TavixProxy* owner = nullptr;
    StepLoop loop;
    Service::Invocation taken; // the call is under way, and stays unanswered
    Service service([&](Service::Invocation call) {
        taken = call;
        return true;
    });
    for (int expected : {1, 3}) {
        auto proxy = std::make_unique<TavixProxy>(loop.loop);
        owner = proxy.get();
        ASSERT_TRUE(owner->connect(socketPath.c_str(), 0));
        ASSERT_EQ(owner->addSharedObject("slow", &service), PROXY_OK);
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

TEST_F(Tool, EachVerbTellsCausesApart)
{
    auto bus = startBus();
    auto owner = start(TAVIX_TEST_ROLE, {"owner", "clock"});
    struct {
        Arguments arguments;
        int status;
        std::string error; // a part of it
    } const cases[] = {
        {{"call", "--json", "--", "clock", "echo", "-5"}, 0, ""},
        {{"emit", "clock", "tick", "[1,"}, 2, "line 1, column "},
        {{"observe", "clock"}, 2, "\"clock\" has no EVENT"},
        {{"observe", "a", "bc", "ab", "c"}, 2, "joined names"},
        {{"observe", "a", "b", "--count", "0"}, 2, "--count"},
        {{"describe", "clock"}, 1, "Unknown method (code -1)"},
        {{"describe", "nobody"}, 4, "no object \"nobody\""},
        {{"wait", "nobody", "--timeout", "0.05"}, 5, "nobody: timed out"},
        {{"observe", "a", "b", "--timeout", "0.05", "--count", "1"}, 5, "timed out with 0 of 1"},
        {{"observe", "a", "b", "--timeout", "0.05"}, 0, "observing a.b\n"},
        {{"list", "--address", dir.file("nowhere")}, 3, "nowhere"},
    };
    for (auto const& c : cases) {
        ProcessResult result = tool(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments[0] << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(c.error));
    }
    EXPECT_EQ(run("/bin/sh", {"-c", TAVIXCTL_PROGRAM " list >/dev/full"}).status, 6);
}

TEST_F(Tool, ListTellsRunningFromStartable)
{
    auto bus = startBusWithZoo();
    EXPECT_EQ("tvx\nzoo\tstartable\n", outputOf({"list"}));
    EXPECT_EQ("", outputOf({"wait", "zoo"})) << "what can be started counts as there";
    auto first = start(TAVIX_TEST_ROLE, {"owner", "-x"});
    auto owner = start(TAVIX_TEST_ROLE, {"owner", "z\n\t\tzoo", "z\xC3\xA9", "z\xFF\\x\t"});
    EXPECT_EQ("-x\ntvx\nz\\x0a\\x09\\x09zoo\nzoo\tstartable\nz\xC3\xA9\nz\\xff\\x5cx\\x09\n",
              outputOf({"list"}));
    std::string lines = outputOf({"list", "--long", "--json"});
    for (size_t at; (at = lines.find("\"[ id=")) != std::string::npos;) { // of an owner the process alone
        const size_t pid = lines.find("pid=", at) + 4;
        lines.replace(at, lines.find("]\"", at) + 2 - at, lines, pid, lines.find(' ', pid) - pid);
    }
    const auto runs = [](pid_t owner) {
        return R"(,"state":"running","owner":)" + std::to_string(owner) + "}\n";
    };
    EXPECT_EQ(R"({"name":"-x")" + runs(first->pid()) + R"({"name":"tvx")" + runs(bus->pid()) +
                  R"({"name":"z\n\t\tzoo")" + runs(owner->pid()) +
                  R"({"name":"zoo","state":"startable","owner":null})"
                  "\n" +
                  R"({"name":"zé")" + runs(owner->pid()) + R"({"name":"z�\\x\t")" + runs(owner->pid()),
              lines);
    EXPECT_THAT(outputOf({"list", "--long"}),
                testing::ContainsRegex("NAME +STATE +OWNER\n-x +running +\\[ id="));
    EXPECT_EQ("1\n", outputOf({"call", "zoo", "count"}));
    EXPECT_THAT(outputOf({"list", "--json"}), HasSubstr("{\"name\":\"zoo\",\"state\":\"running\"}\n"));
}

TEST_F(Tool, DescribeAndDebugShowEverythingThatTheyAreTold)
{
    auto bus = startBus();
    StepLoop loop;
    TavixProxy proxy(loop.loop);
    ASSERT_TRUE(proxy.connect(socketPath.c_str(), 0));
    bool answered = false;
    TvxResult copied;
    Service service([&](std::string const&, Element*) {
        auto *text = new MapElem, *methods = new MapElem, *root = new MapElem;
        text->addChild("description", new StringElem("two\nlines\x1B"));
        text->addChild("limit", new DoubleElem(0.25));
        text->addChild("none", new DoubleElem(NAN));
        methods->addChild("get", text);
        methods->addChild("set", new MapElem);
        root->addChild("bytes", new BinaryElem(reinterpret_cast<unsigned char const*>("\xFF"), 1, copied));
        root->addChild("methods", methods);
        answered = true;
        return root;
    });
    ASSERT_EQ(proxy.addSharedObject("lamp", &service), PROXY_OK);
    auto describe = [&](Arguments const& arguments) {
        ChildProcess child(command(TAVIXCTL_PROGRAM, arguments), environment);
        for (answered = false; !answered;)
            loop.loop->iterate();
        EXPECT_EQ(0, child.waitForExit());
        return child.readOutput();
    };
    EXPECT_EQ(
        "bytes: \"/w==\"\nmethods\n  get\n    two\n    lines\\x1b\n    limit: 0.25\n    none: null\n  set\n",
        describe({"describe", "lamp"}));
    EXPECT_EQ(R"({"member":"bytes","details":"/w=="}
{"method":"get","details":{"description":"two\nlines\u001b","limit":0.25,"none":null}}
{"method":"set","details":{}}
)",
              describe({"describe", "--json", "lamp"}));

    auto observer = follow({"observe", "lamp", "lit"});
    EXPECT_THAT(outputOf({"debug"}), HasSubstr("\nConnection(s):\n["));
    EXPECT_THAT(outputOf({"debug", "--observers"}), HasSubstr("]\n\tobservers:\n\t\tlamp.lit\n"));
    EXPECT_THAT(outputOf({"debug", "--json"}), HasSubstr("\n\"Connection(s):\\n\"\n\"[ id="));
}

TEST_F(Tool, ObservePrintsWhatIsEmitted)
{
    auto bus = startBus();
    auto lines = follow({"observe", "--json", "--count", "4", "[a]", "{}", "lamp", "lit", "--", "-x", "-y"});
    auto readable = follow({"observe", "[a]", "{}", "lamp", "lit", "lamp", "lit"});
    EXPECT_EQ("", outputOf({"emit", "[a]", "{}", R"({"b": [1, 0.5], "a": "/\u0001"})"}));
    EXPECT_EQ("{\"object\":\"-x\",\"event\":\"-y\",\"data\":-5}\n",
              outputOf({"emit", "--json", "--", "-x", "-y", "-5"}));
    EXPECT_EQ("", outputOf({"emit", "lamp", "lit"}));
    EXPECT_EQ("", outputOf({"emit", "other", "lit"}));

    struct Named : TavixProxy {
        explicit Named(SharedPtr<PollLoopIf> const& loop) : TavixProxy(loop) { _identity = "me"; }
    };
    StepLoop loop;
    Named proxy(loop.loop);
    ASSERT_TRUE(proxy.connect(socketPath.c_str(), 0));
    StringElem data("\xFF\n");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(PROXY_OK, proxy.sendEvent("lamp", "lit", &data));
    EXPECT_EQ(0, lines->waitForExit());
    EXPECT_EQ(R"({"object":"[a]","event":"{}","data":{"a":"/\u0001","b":[1,0.5]}}
{"object":"-x","event":"-y","data":-5}
{"object":"lamp","event":"lit","data":null}
{"object":"lamp","event":"lit","data":"�\n","identity":"me"}
)",
              lines->readOutput());
    EXPECT_EQ(R"([a].{} {"a":"/\u0001","b":[1,0.5]})", readable->readLine());
    EXPECT_EQ("lamp.lit null", readable->readLine());
    EXPECT_EQ("lamp.lit \"�\\n\"", readable->readLine());
}

TEST_F(Tool, ObserveEndsInOrder)
{
    auto bus = startBus();
    for (int number : {SIGINT, SIGTERM}) {
        auto observer = follow({"observe", "a", "b"});
        observer->signal(number);
        EXPECT_EQ(0, observer->waitForExit());
    }
    // The reader goes and no event comes.
    EXPECT_EQ(0, run("/bin/bash", {"-c", "set -o pipefail; " TAVIXCTL_PROGRAM " observe a b | :"}).status);

    // A reader that does not read holds the output up, but not the end.
    ChildProcess shell({"/bin/bash", "-c",
                        "mkfifo $0; exec 9<>$0; " TAVIXCTL_PROGRAM " observe a b >$0 9<&- & echo $!; wait $!",
                        dir.file("full")},
                       environment);
    const pid_t stuck = std::stoi(shell.readLine().value_or("0"));
    EXPECT_TRUE(shell.waitForErrorLine("observing"));
    EXPECT_EQ(0, tool({"emit", "a", "b", "-"}, '"' + std::string(150000, 'x') + '"').status);
    ASSERT_GT(stuck, 0);
    kill(stuck, SIGINT);
    EXPECT_EQ(0, shell.waitForExit());

    auto observer = follow({"observe", "a", "b"});
    auto watch = follow({"watch"});
    ChildProcess wait({TAVIXCTL_PROGRAM, "wait", "nobody"}, environment);
    ChildProcess* const all[] = {observer.get(), watch.get(), &wait};
    bus->signal(SIGKILL);
    for (ChildProcess* child : all) {
        EXPECT_EQ(3, child->waitForExit());
        EXPECT_THAT(child->readErrors(), HasSubstr(socketPath));
    }
}

TEST_F(Tool, WatchAndWaitSeeObjectsComeAndGo)
{
    auto bus = startBus();
    auto lines = follow({"watch", "--count", "3", "--json"});
    auto readable = follow({"watch"});
    ChildProcess wait({TAVIXCTL_PROGRAM, "wait", "--json", "late\n"}, environment);
    auto early = start(TAVIX_TEST_ROLE, {"owner", "early"});
    auto late = start(TAVIX_TEST_ROLE, {"owner", "late\n"});
    EXPECT_EQ(0, wait.waitForExit());
    EXPECT_EQ("{\"name\":\"late\\n\"}\n", wait.readOutput());
    late->closeInput();
    EXPECT_EQ(0, lines->waitForExit());
    EXPECT_EQ(R"({"event":"added","name":"early"}
{"event":"added","name":"late\n"}
{"event":"removed","name":"late\n"}
)",
              lines->readOutput());
    EXPECT_TRUE(readable->waitForLine("+ early"));
    EXPECT_EQ("+ late\\x0a", readable->readLine());
    EXPECT_EQ("- late\\x0a", readable->readLine());
}

TEST_F(Tool, BashCompletesTheCommandLine)
{
    auto bus = startBusWithZoo();
    auto owner = start(TAVIX_TEST_ROLE, {"owner", "my clock", "-x", "t\n"});
    EXPECT_EQ("observe\n"
              "my\\ clock tvx zoo\n"
              "-x my\\ clock tvx zoo\n"
              "my\\ clock\n"
              "zoo\n"
              "\n"
              "generateInterfaceDescription getDebug listObjects toggleDebug\n"
              "toggleDebug\n"
              "\n"
              "\n",
              completions({"o", "call ''", "wait -- ''", "describe 'my\\ '", "observe --count 3 tvx added z",
                           "observe zoo ''", "call tvx ''", "call --address '" + socketPath + "' tvx to",
                           "call --address '" + dir.file("nowhere") + "' tvx to", "call zoo ''"},
                          environment));
    EXPECT_THAT(outputOf({"list"}), HasSubstr("zoo\tstartable")) << "the completion started a service";

    // It offers the options that there are, and each verb.
    std::istringstream verbs(completions({"''"}, {}));
    std::set<std::string> known, offered;
    for (std::string verb; verbs >> verb;) {
        std::istringstream help(outputOf({verb, "--help"})), words(completions({verb + " -"}, {}));
        for (std::string line; std::getline(help, line);)
            if (size_t at = line.find("--"); at < 6 && line[0] == ' ')
                known.insert(verb + line.substr(at, line.find(' ', at) - at));
        for (std::string word; words >> word;)
            offered.insert(verb + word);
    }
    EXPECT_EQ(known, offered);
    EXPECT_EQ(8 * 4 + 7 + 2 * 3, known.size()) << "a verb is missing";
}
