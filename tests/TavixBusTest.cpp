// The broker alone: clients speak single frames, and the test's own thread steps the loop.
#include "support/SocketPair.h"
#include "support/TestBus.h"
#include "tavix/Connection.h"
#include "tavix/LogDebug.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <deque>
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
                       {a, RemoveObserver, "gate", "!9 Observer not found"},
                       {a, AddObserver, "gate", "null"},
                       {a, AddObserver, "gate", "!8 Observer already exists"},
                       {b, AddObserver, "gate", "null"},
                       {a, RemoveObserver, "gate", "null"},
                       {a, RemoveObserver, "gate", "!9 Observer not found"}};
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

// The sender was there first: its event is handled before the loop reports any of the dead, so the bus finds
// out by writing, in the middle of the fan-out. Each of them owes the others an answer.
TEST(TavixBus, observersDieInTheMiddleOfAFanOut)
{
    for (unsigned dead = 0; dead < 15; ++dead) {
        TestBus bus;
        RawClient sender = bus.connect();
        std::vector<RawClient> observers;
        for (int i = 0; i < 4; ++i) {
            observers.push_back(bus.connectOwner({"object " + std::to_string(i)}));
            EXPECT_EQ("1: null", observers[i].ask(makeRequest(AddObserver, 1, "clock", "tick")));
            for (int owner = 0; owner < i; ++owner)
                observers[i].send(makeRequest(CallMethod, 50, "object " + std::to_string(owner), "now"));
        }
        bus.settle();
        for (unsigned i = 0; i < 4; ++i) {
            if (dead & 1 << i)
                observers[i].close();
        }
        std::string events[3];
        for (int i = 0; i < 3; ++i)
            sender.send(events[i] = makeRequest(Event, 10, "clock", "tick", new IntegerElem(i)));
        sender.send(makeRequest(Event, 9, "clock", "tock") + makeRequest(Event, 9, "door", "tick"));
        for (unsigned i = 0; i < 4; ++i) {
            if (dead & 1 << i)
                continue;
            std::vector<std::string> heard;
            for (int calls = 0; heard.size() < 3; ++calls) {
                ASSERT_LT(calls, 10);
                Frame frame = observers[i].receive();
                if (frame.describe().compare(0, 5, "event") == 0)
                    heard.push_back(frame.bytes);
            }
            EXPECT_THAT(heard, testing::ElementsAreArray(events)) << "dead " << dead;
        }
        EXPECT_TRUE(isServed(sender));
        EXPECT_EQ(6u - static_cast<unsigned>(__builtin_popcount(dead)), connectionsOf(bus).size());
    }
}

TEST(TavixBus, aFloodKeepsItsOrderAndLetsABystanderIn)
{
    TestBus bus;
    RawClient owner = bus.connectOwner({"clock"});
    RawClient flooder = bus.connect();
    RawClient bystander = bus.connect();
    bus.settle();
    std::string flood;
    const size_t length = makeRequest(CallMethod, 0, "clock", "now").size();
    for (unsigned id = 10; id < 1000; ++id)
        flood += makeRequest(CallMethod, id, "clock", "now");
    const size_t half = flood.size() - length / 2;
    flooder.send(flood.substr(0, half));
    bystander.send(makeRequest(CallMethod, 5, "clock", "now"));
    size_t before = flood.size();
    for (unsigned id = 10; id < 1000; ++id) {
        if (id == 999)
            flooder.send(flood.substr(half));
        Frame frame = owner.receive();
        if (frame.id == 5) {
            before = id - 10;
            frame = owner.receive();
        }
        ASSERT_EQ(id, frame.id);
    }
    EXPECT_LE(before, Connection::kReadAhead / length);
}

// It is owed an answer when its own bytes, or the flush, break it; an owner registers with calls waiting behind it.
TEST(TavixBus, aClientMayBreakInTheBatchThatIsBeingRouted)
{
    TestBus bus;
    RawClient bystander = bus.connect();
    for (bool closing : {true, false}) {
        RawClient client = bus.connect();
        RawClient owner = bus.connectOwner({"door"});
        const std::string unanswered = makeRequest(CallMethod, 7, "nobody", "now");
        bystander.send(makeRequest(CallMethod, 8, "door", "open"));
        EXPECT_EQ("callMethod 8 door.open null", owner.hear());
        client.send(unanswered + makeRequest(CallMethod, 9, "door", "open") + bigEndian(0) + unanswered);
        owner.send(unanswered + makeRequest(CallMethod, 9, "door", "open") + bigEndian(0));
        if (closing) {
            client.close();
            owner.close();
        }
        EXPECT_EQ("8: !2 Object connection broken", bystander.hear());
        EXPECT_TRUE(isServed(bystander));
        EXPECT_EQ(2u, connectionsOf(bus).size());
    }
}

TEST(TavixBus, anObserverThatDoesNotReadGetsEverythingInOrderLater)
{
    TestBus bus;
    RawClient slow = bus.connect();
    RawClient quick = bus.connect();
    for (RawClient* client : {&slow, &quick})
        EXPECT_EQ("1: null", client->ask(makeRequest(AddObserver, 1, "clock", "tick")));
    for (unsigned i = 0; i < 1000; ++i) {
        quick.send(makeRequest(Event, i, "clock", "tick", makeText(3000)));
        ASSERT_EQ(i, quick.receive().id);
    }
    for (unsigned i = 0; i < 1000; ++i)
        ASSERT_EQ(i, slow.receive().id);
}

// Hears a call that the bus itself makes, and answers it.
void expectCall(RawClient& owner, std::string const& text, Element* answer)
{
    Frame call = owner.receive();
    EXPECT_EQ("callMethod " + std::to_string(call.id) + " " + text, call.describe());
    owner.send(makeResponse(call.id, call.clientId, answer));
}

TEST(TavixBus, anObjectHearsOfTheFirstAndTheLastObserverOfAnEvent)
{
    TestBus bus;
    RawClient a = bus.connect();
    RawClient b = bus.connect();
    RawClient owner = bus.connectOwner({"clock"});
    auto ask = [&](RawClient& client, EESMessageType type, char const* object, char const* event) {
        EXPECT_EQ("2: null", client.ask(makeRequest(type, 2, object, event)));
    };
    ask(a, AddObserver, "clock", "tick");
    ask(b, AddObserver, "clock", "tick");
    ask(a, RemoveObserver, "clock", "tick");
    expectCall(owner, "clock.firstObserverAdded \"tick\"", new IntegerElem(42));
    EXPECT_TRUE(owner.isQuiet());
    ask(b, RemoveObserver, "clock", "tick");
    expectCall(owner, "clock.lastObserverRemoved [\"tick\",42]", new NullElem);

    // Not answered yet; and an answer that does not fit into a call, or is a descriptor's number in another process:
    // here it would be one of the bus.
    ask(a, AddObserver, "clock", "tick");
    ask(a, RemoveObserver, "clock", "tick");
    expectCall(owner, "clock.firstObserverAdded \"tick\"", new IntegerElem(1));
    expectCall(owner, "clock.lastObserverRemoved [\"tick\",null]", new NullElem);
    ask(a, AddObserver, "clock", "tick");
    expectCall(owner, "clock.firstObserverAdded \"tick\"", makeText(Connection::kMaxFrameSize - 80));
    bus.settle();
    ask(a, RemoveObserver, "clock", "tick");
    expectCall(owner, "clock.lastObserverRemoved [\"tick\",null]", new NullElem);
    ask(a, AddObserver, "clock", "tick");
    expectCall(owner, "clock.firstObserverAdded \"tick\"", new FileDescriptorElem(0, "", "", ""));
    bus.settle();
    ask(a, RemoveObserver, "clock", "tick");
    expectCall(owner, "clock.lastObserverRemoved [\"tick\",null]", new NullElem);

    // An object that comes later, one that comes again, and an observer that goes with everything it has.
    for (char const* event : {"tock", "tick", "alarm"})
        ask(a, AddObserver, "door", event);
    ask(b, AddObserver, "door", "alarm");
    for (int i = 0; i < 2; ++i) {
        RawClient door = bus.connectOwner({"door"});
        for (char const* event : {"alarm", "tick", "tock"})
            expectCall(door, std::string("door.firstObserverAdded \"") + event + "\"", new IntegerElem(i));
        EXPECT_TRUE(door.isQuiet());
        if (i == 0) {
            door.close();
            bus.settle();
            continue;
        }
        a.close();
        expectCall(door, "door.lastObserverRemoved [\"tick\",1]", new NullElem);
        expectCall(door, "door.lastObserverRemoved [\"tock\",1]", new NullElem);
        EXPECT_TRUE(door.isQuiet());
    }
    ask(b, AddObserver, "clock", "unanswered"); // the bus ends with the call under way
}

TEST(TavixBus, arrivalsAndDeparturesAreAnnouncedBehindTheReplies)
{
    TestBus bus;
    RawClient client = bus.connect();
    for (char const* event : {"objectAdded", "objectRemoved"})
        EXPECT_EQ("1: null", client.ask(makeRequest(AddObserver, 1, "tvx", event)));
    auto hearEvent = [&] {
        std::string text = client.hear(); // "event ID tvx.NAME VALUE"
        return text.erase(0, text.find("tvx."));
    };
    EXPECT_EQ("2: null", client.ask(makeRequest(AddSharedObject, 2, "b")));
    EXPECT_EQ("tvx.objectAdded \"b\"", hearEvent());
    EXPECT_EQ("3: !6 Object Already Exists", client.ask(makeRequest(AddSharedObject, 3, "b")));
    EXPECT_EQ("6: null", client.ask(makeRequest(RemoveSharedObject, 6, "b")));
    EXPECT_EQ("tvx.objectRemoved \"b\"", hearEvent());

    RawClient owner = bus.connectOwner({"z", "y", "x"});
    for (char const* name : {"z", "y", "x"})
        EXPECT_EQ(std::string("tvx.objectAdded \"") + name + "\"", hearEvent());
    owner.close();
    for (char const* name : {"x", "y", "z"})
        EXPECT_EQ(std::string("tvx.objectRemoved \"") + name + "\"", hearEvent());
    EXPECT_TRUE(client.isQuiet());
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
    std::deque<SocketPair> lowest(10); // poll(2) takes no more descriptors than the process may have
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
        DescriptorLimit none(20); // not even the spare one comes back
        EXPECT_TRUE(waiting.isQuiet());
        EXPECT_TRUE(isServed(older));
    }
    EXPECT_TRUE(isServed(older)); // any traffic makes the bus look again
    EXPECT_TRUE(isServed(waiting));
}

} // namespace
