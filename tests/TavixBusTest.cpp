// The broker alone: clients speak single frames, and the test's own thread steps the loop.
#include "support/TestBus.h"
#include "tavix/LogDebug.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/resource.h>

using namespace Tavix;
using testing::HasSubstr;

namespace {

std::map<int, std::string> connectionsOf(TestBus& bus)
{
    std::map<int, std::string> names;
    bus.bus->getConnectionDebug(names);
    return names;
}

bool isServed(RawClient& client)
{
    return client.ask(makeRequest(CallMethod, 77, "nobody", "now")) == "77: !4 Object not found";
}

TEST(TavixBus, callsAndResponsesPassUnread)
{
    TestBus bus;
    RawClient owner = bus.connectOwner({"clock"});
    for (EESMessageType type : {CallMethod, BackChannel}) {
        RawClient callers[] = {bus.connect(), bus.connect()};
        std::string call = makeRequest(type, 7, "clock", "now", (new ListElem)->add("garbage"));
        call.replace(call.size() - 13, 2, "\xff\xff"); // inside the list no reader finds a value
        unsigned ids[2];
        for (int i = 0; i < 2; ++i) {
            callers[i].send(call);
            Frame passed = owner.receive();
            ids[i] = passed.clientId;
            EXPECT_EQ(stamped(call, ids[i]), passed.bytes);
        }
        // Both have chosen the same message id.
        for (int i : {1, 0}) {
            const std::string response = makeResponse(7, ids[i], new IntegerElem(i));
            owner.send(response);
            EXPECT_EQ(response, callers[i].receive().bytes);
            EXPECT_TRUE(callers[1 - i].isQuiet());
        }
        owner.send(makeResponse(99, ids[0], new NullElem)); // nobody asked
        EXPECT_EQ("99: null", callers[0].hear());
    }
}

TEST(TavixBus, namesHaveOneOwnerAndClientsObserveAPairOnce)
{
    TestBus bus;
    RawClient a = bus.connect();
    RawClient b = bus.connect();
    struct {
        RawClient& client;
        EESMessageType type;
        char const* name;
        char const* answer;
    } const steps[] = {{a, AddSharedObject, "clock", "null"},
                       {a, AddSharedObject, "clock", "!6 Object Already Exists"},
                       {b, AddSharedObject, "clock", "!6 Object Already Exists"},
                       {b, AddSharedObject, "Clock", "null"},
                       {b, AddSharedObject, "", "null"},
                       {b, RemoveSharedObject, "clock", "!7 Remove failed your not the owner"},
                       {a, RemoveSharedObject, "clock", "null"},
                       {a, RemoveSharedObject, "clock", "!4 Object Not Found"},
                       {b, AddSharedObject, "clock", "null"},
                       {a, CallMethod, "tvx", R"(["","Clock","clock","tvx"])"},
                       {a, RemoveObserver, "clock", "!9 Observer not found"},
                       {a, AddObserver, "clock", "null"},
                       {a, AddObserver, "clock", "!8 Observer already exists"},
                       {b, AddObserver, "clock", "null"},
                       {a, RemoveObserver, "clock", "null"},
                       {a, RemoveObserver, "clock", "!9 Observer not found"}};
    for (auto const& step : steps)
        EXPECT_EQ(std::string("5: ") + step.answer,
                  step.client.ask(makeRequest(step.type, 5, step.name, "listObjects")));
    b.close();
    bus.settle();
    EXPECT_EQ("6: null", a.ask(makeRequest(AddSharedObject, 6, "clock")));
}

TEST(TavixBus, deathOfAnOwnerAnswersEachOpenCallOnceInOrder)
{
    TestBus bus;
    RawClient owner = bus.connectOwner({"clock", "door"});
    RawClient caller = bus.connect();
    RawClient other = bus.connect();
    owner.send(makeRequest(CallMethod, 70, "door", "open")); // to itself
    EXPECT_EQ("callMethod 70 door.open null", owner.hear());
    for (unsigned id : {5u, 3u, 9u}) {
        caller.send(makeRequest(CallMethod, id, id == 3 ? "door" : "clock", "now"));
        const unsigned client = owner.receive().clientId;
        if (id == 3)
            owner.send(makeResponse(id, client, new NullElem));
    }
    other.send(makeRequest(CallMethod, 5, "clock", "now"));
    owner.receive();
    owner.close();
    for (char const* answer : {"3: null", "5: !2 Object connection broken", "9: !2 Object connection broken"})
        EXPECT_EQ(answer, caller.hear());
    EXPECT_EQ("5: !2 Object connection broken", other.hear());
    EXPECT_TRUE(caller.isQuiet());
}

// Clients that call each other die in the same turn of the loop: the reply to each finds a broken peer, whose
// clean-up runs inside the first one's. The parameter is the size of what nobody has read.
class DyingRing : public testing::TestWithParam<size_t> {};

TEST_P(DyingRing, endsInOrder)
{
    const unsigned size = 20;
    TestBus bus;
    RawClient bystander = bus.connect();
    std::vector<RawClient> ring;
    for (unsigned i = 0; i < size; ++i)
        ring.push_back(bus.connectOwner({"object " + std::to_string(i)}));
    auto callAll = [&](RawClient& caller) {
        for (unsigned i = 0; i < size; ++i)
            caller.send(
                makeRequest(CallMethod, 100 + i, "object " + std::to_string(i), "now", makeText(GetParam())));
    };
    callAll(bystander);
    for (RawClient& client : ring)
        callAll(client);
    bus.settle();
    ring.clear();

    std::map<std::string, int> answers;
    for (unsigned i = 0; i < size; ++i)
        ++answers[bystander.hear()];
    EXPECT_EQ(size, answers.size());
    EXPECT_EQ(1, answers["119: !2 Object connection broken"]);
    EXPECT_EQ(R"(1: ["tvx"])", bystander.ask(makeRequest(CallMethod, 1, "tvx", "listObjects")));
    EXPECT_EQ(2u, connectionsOf(bus).size());
}

INSTANTIATE_TEST_SUITE_P(TavixBus, DyingRing, testing::Values(0, 60000));

TEST(TavixBus, serves127ClientsAndGivesASlotOnUnderANewId)
{
    TestBus bus;
    std::vector<RawClient> clients;
    for (int i = 0; i < 127; ++i)
        clients.push_back(bus.connect());
    EXPECT_EQ("end", bus.connect().hear());
    const std::map<int, std::string> before = connectionsOf(bus);
    EXPECT_EQ(128u, before.size());

    clients[50].close();
    bus.settle();
    RawClient next = bus.connect();
    EXPECT_TRUE(isServed(next));
    EXPECT_GT(connectionsOf(bus).rbegin()->first, before.rbegin()->first);
    EXPECT_EQ("end", bus.connect().hear());
    EXPECT_TRUE(isServed(clients[126]));
}

TEST(TavixBus, oddMessagesHarmNobody)
{
    TestBus bus;
    RawClient client = bus.connect();
    const std::string unknown = "Unhandled message type ";
    struct {
        std::string message, output;
    } const cases[] = {
        {makeFrame(1, 0, ""), ""},
        {makeMessage(1, 0, {{"systemRule", new StringElem("callMethod")}}), ""},
        {makeMessage(1, 0, {{"messageType", new StringElem("shout")}}), ""},
        {makeMessage(1, 0, {{"messageType", new IntegerElem(1)}}), ""},
        {makeMessage(1, 0, {{"messageType", new StringElem("method")}}), unknown + "\n"},
        {makeRequest(CallVoidMethod, 1, "tvx", "listObjects"), unknown + "callVoidMethod\n"},
        {withDeepValue(makeRequest(CallVoidMethod, 1, "tvx", "", new NullElem)),
         unknown + "callVoidMethod\n"},
        {makeResponse(1, 0x7fffffff, new NullElem), ""},
        {makeResponse(1, 0xffffffff, new NullElem), ""},
        {makeResponse(1, 0, new NullElem), ""},
    };
    for (auto const& c : cases) {
        testing::internal::CaptureStdout();
        client.send(c.message);
        EXPECT_TRUE(client.isQuiet());
        EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr(c.output));
        EXPECT_TRUE(isServed(client));
    }
    StringLog::Iterator position;
    LogDebug::getLog().begin(position);
    std::string lastLine;
    while (char const* line = LogDebug::getLog().getNext(position))
        lastLine = line;
    EXPECT_THAT(lastLine, HasSubstr("Message could not be routed to client 0"));
}

TEST(TavixBus, eventsReachTheObserversOfThePair)
{
    TestBus bus;
    RawClient clients[] = {bus.connect(), bus.connect(), bus.connect()};
    for (RawClient& client : clients)
        EXPECT_EQ("1: null", client.ask(makeRequest(AddObserver, 1, "clock", "tick")));
    clients[1].close(); // the bus finds out by writing to it
    clients[0].send(makeRequest(Event, 8, "clock", "tock"));
    clients[0].send(makeRequest(Event, 8, "door", "tick"));
    const std::string event = makeRequest(Event, 9, "clock", "tick", new IntegerElem(5));
    clients[0].send(event);
    for (int i : {0, 2}) {
        EXPECT_EQ(event, clients[i].receive().bytes);
        EXPECT_TRUE(clients[i].isQuiet());
    }
}

// While it lives, the process gets no descriptor from `limit` on.
class DescriptorLimit {
public:
    explicit DescriptorLimit(int limit)
    {
        getrlimit(RLIMIT_NOFILE, &_before);
        const rlimit lowered{static_cast<rlim_t>(limit), _before.rlim_max};
        EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &lowered));
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &_before); }

private:
    rlimit _before;
};

// hear and isQuiet fail when the loop spins.
TEST(TavixBus, refusesNewcomersWithoutDescriptorsAndServesAgainWithOne)
{
    TestBus bus;
    RawClient older = bus.connect();
    // Also for the sanitizer, which needs descriptors to look at the type of an object for the first time.
    EXPECT_TRUE(isServed(older));
    RawClient refused[] = {bus.dial(), bus.dial()};
    const int lowestFree = dup(0);
    close(lowestFree);
    {
        DescriptorLimit none(lowestFree);
        EXPECT_EQ("end", refused[0].hear());
        EXPECT_EQ("end", refused[1].hear());
        EXPECT_TRUE(isServed(older));
    }
    RawClient next = bus.connect();
    EXPECT_TRUE(isServed(next));

    RawClient waiting = bus.dial();
    {
        DescriptorLimit none(3); // not even the spare one comes back
        EXPECT_TRUE(waiting.isQuiet());
        EXPECT_TRUE(isServed(older));
    }
    EXPECT_TRUE(isServed(older)); // any traffic makes the bus look again
    EXPECT_TRUE(isServed(waiting));
}

} // namespace
