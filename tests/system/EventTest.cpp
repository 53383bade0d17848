// Events and observers between processes, through the broker's process.
#include "system/SystemBus.h"
#include "tavix/elements/StringElem.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace Tavix;
using testing::EndsWith;

namespace {

class Events : public SystemBus {
protected:
    // Another owner process, not waited for.
    Child launchOwner(std::string const& name) { return start({TAVIX_TEST_ROLE, "owner", name}); }
};

std::string observe(RawClient& client, char const* object, char const* event)
{
    return client.ask(makeRequest(AddObserver, 1, object, event));
}

std::string leave(RawClient& client, char const* object, char const* event)
{
    return client.ask(makeRequest(RemoveObserver, 2, object, event));
}

std::string share(RawClient& client, char const* object)
{
    return client.ask(makeRequest(AddSharedObject, 3, object));
}

// A request of the bus's own, whose number is its business.
std::string hear(RawClient& client)
{
    Frame frame = client.receive();
    frame.id = 0;
    return frame.describe();
}

// Each answer is on its way before what it causes.
TEST_F(Events, comeAndGoBehindTheReplies)
{
    RawClient client = connect();
    EXPECT_EQ("1: null", observe(client, "tvx", "objectAdded"));
    EXPECT_EQ("1: null", observe(client, "tvx", "objectRemoved"));
    EXPECT_EQ("1: null", observe(client, "door", "ring"));
    EXPECT_EQ("1: !8 Observer already exists", observe(client, "door", "ring"));
    EXPECT_EQ("2: !9 Observer not found", leave(client, "door", "rung"));
    EXPECT_EQ("2: !9 Observer not found", leave(client, "gate", "ring"));
    EXPECT_EQ("3: !6 Object Already Exists", share(client, "clock")); // and no event
    EXPECT_EQ("3: null", share(client, "door"));
    EXPECT_EQ("event 0 tvx.objectAdded \"door\"", hear(client));
    EXPECT_EQ("callMethod 0 door.firstObserverAdded \"ring\"", hear(client)); // is not answered yet

    const std::string ring = makeRequest(Event, 7, "door", "ring", new StringElem("twice"));
    client.send(ring);
    EXPECT_EQ(ring, client.receive().bytes);
    EXPECT_EQ("2: null", leave(client, "door", "ring"));
    EXPECT_EQ("callMethod 0 door.lastObserverRemoved "
              "[\"ring\",{\"exceptionstring\":\"Object not found\",\"exceptioninteger\":4}]",
              hear(client)); // what was answered when there was no door
    EXPECT_EQ("4: null", client.ask(makeRequest(RemoveSharedObject, 4, "door")));
    EXPECT_EQ("event 0 tvx.objectRemoved \"door\"", hear(client));

    // The end of an owner with a call under way: the caller's answer, then the events in the order of names.
    RawClient dying = connect();
    for (char const* name : {"yard", "gate"}) {
        EXPECT_EQ("3: null", share(dying, name));
        EXPECT_EQ(std::string("event 0 tvx.objectAdded \"") + name + '"', hear(client));
    }
    client.send(makeRequest(CallMethod, 5, "yard", "now"));
    EXPECT_THAT(dying.hear(), EndsWith("yard.now null"));
    dying.close();
    EXPECT_EQ("5: !2 Object connection broken", client.hear());
    EXPECT_EQ("event 0 tvx.objectRemoved \"gate\"", hear(client));
    EXPECT_EQ("event 0 tvx.objectRemoved \"yard\"", hear(client));
}

TEST_F(Events, ownersHearOfTheFirstAndTheLastObserver)
{
    auto lastWith = [](Child const& bell) {
        return "last [\"ring\",[\"ring\"," + std::to_string(bell->pid()) + "]]";
    };
    RawClient first = connect(), second = connect();
    EXPECT_EQ("1: null", observe(first, "bell", "ring")); // before there is one
    Child bell = launchOwner("bell");
    EXPECT_TRUE(bell->waitForLine("first ring"));
    settle("bell");
    EXPECT_EQ("1: null", observe(second, "bell", "ring"));
    EXPECT_EQ("2: null", leave(first, "bell", "ring"));
    second.close();
    EXPECT_EQ(lastWith(bell), bell->waitForLine("ring"));

    // Another owner of the name answers anew, and gets back its own answer.
    EXPECT_EQ("1: null", observe(first, "bell", "ring"));
    EXPECT_EQ("first ring", bell->waitForLine("ring"));
    bell->signal(SIGKILL);
    bell->waitForExit();
    bell = launchOwner("bell");
    EXPECT_TRUE(bell->waitForLine("first ring"));
    settle("bell");
    EXPECT_EQ("2: null", leave(first, "bell", "ring"));
    EXPECT_EQ(lastWith(bell), bell->waitForLine("ring"));

    // One that dies was the last of each of its pairs.
    second = connect();
    for (char const* event : {"ring", "chime"})
        EXPECT_EQ("1: null", observe(second, "bell", event));
    EXPECT_TRUE(bell->waitForLine("first chime"));
    settle("bell");
    second.close();
    EXPECT_THAT(bell->waitForLine("last").value_or(""), testing::StartsWith("last [\"chime\",[\"chime\","));
    EXPECT_EQ(lastWith(bell), bell->waitForLine("ring"));
    bell->closeInput();
    EXPECT_EQ(0, bell->waitForExit());
}

// The broker is stopped while observers go and the event comes: it finds them gone inside the fan-out.
TEST_F(Events, observersThatDieOrNeverReadHarmNobody)
{
    const int events = 300;
    auto numbered = [&](int number) {
        return makeRequest(Event, static_cast<unsigned>(number), "clock", "tick", makeText(20000));
    };
    RawClient sender = connect();
    std::vector<RawClient> observers;
    for (int i = 0; i < 7; ++i) {
        observers.push_back(connect());
        EXPECT_EQ("1: null", observe(observers.back(), "clock", "tick"));
    }
    RawClient& lazy = observers[1];
    RawClient* const readers[] = {&observers[2], &observers[4]};
    for (int number = 0; number < events; ++number) {
        if (number == 100) {
            bus->signal(SIGSTOP);
            siginfo_t stopped;
            waitid(P_PID, static_cast<id_t>(bus->pid()), &stopped, WSTOPPED);
            for (int position : {0, 3, 5, 6})
                observers[static_cast<size_t>(position)].close();
        }
        sender.send(numbered(number));
        if (number == 100)
            bus->signal(SIGCONT);
        for (RawClient* reader : readers)
            EXPECT_EQ(numbered(number), reader->receive().bytes);
    }
    for (int number = 0; number < events; ++number)
        ASSERT_EQ(numbered(number), lazy.receive().bytes);
    EXPECT_TRUE(owner->waitForLine("first tick"));
    for (RawClient* last : {readers[0], readers[1], &lazy})
        EXPECT_EQ("2: null", leave(*last, "clock", "tick"));
    EXPECT_TRUE(owner->waitForLine("last [\"tick\""));
}

} // namespace
