// Events at a proxy, against a peer that speaks single frames in place of a bus.
#include "support/TestBus.h"
#include "tavix/ObjectEventObserver.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/StringElem.h"

#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace Tavix;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Notes what comes, and then does what a test wants it to do.
struct Noting : ObjectEventObserver {
    Noting(char const* noteName, std::vector<std::string>& allNotes) : name(noteName), notes(allNotes) {}

    void event(std::string objName, std::string event, Element* data) override
    {
        notes.push_back(name + " " + objName + "." + event + " " + (data ? describe(data) : "nothing"));
        if (act)
            std::exchange(act, nullptr)();
    }
    void event(std::string objName, std::string event, Element* data, std::string identity) override
    {
        this->event(objName, event + identity, data);
    }

    const std::string name;
    std::vector<std::string>& notes;
    std::function<void()> act; // once
};

class TavixProxyEvents : public testing::Test, protected ProxyWithPeer {
protected:
    TavixProxyEvents() { connect(); }

    // A peer that another thread may use.
    void connectForThreads()
    {
        peer.reset();
        settle();
        connect(false);
    }
    RemoteProxyResult add(Noting& observer, char const* object = "ab", char const* event = "c")
    {
        return proxy->addObserver(object, event, &observer);
    }
    RemoteProxyResult remove(Noting& observer, char const* object = "ab", char const* event = "c")
    {
        return proxy->removeObserver(object, event, &observer);
    }
    std::vector<std::string> deliver(Element* data = nullptr, char const* object = "ab",
                                     char const* event = "c")
    {
        notes.clear();
        peer->send(makeRequest(Event, 0, object, event, data));
        settle();
        return notes;
    }

    std::vector<std::string> notes;
    Noting a{"a", notes}, b{"b", notes}, c{"c", notes};
};

TEST_F(TavixProxyEvents, streamsFollowTheirObservers)
{
    EXPECT_EQ(PROXY_OK, add(a));
    EXPECT_EQ(PROXY_OK, add(b, "ab", "d"));
    for (char const* event : {"c", "c", "c", "d", "d", "d", "c", "d", "c", "c"})
        EXPECT_THAT(deliver(new StringElem("x"), "ab", event),
                    ElementsAre(*event == 'c' ? "a ab.c \"x\"" : "b ab.d \"x\""));
    EXPECT_EQ(PROXY_OK, remove(a));
    EXPECT_EQ(PROXY_OK, add(c, "ab", "e")); // may stand where the other one stood
    EXPECT_THAT(deliver(new StringElem("x")), IsEmpty());
}

TEST_F(TavixProxyEvents, theBusHearsOfTheFirstAndTheLastObserverOfAPair)
{
    EXPECT_EQ(PROXY_OBSERVER_NOT_FOUND, remove(a));
    EXPECT_EQ(PROXY_OK, add(a));
    EXPECT_EQ(PROXY_OBSERVER_ALREADY_EXISTS, add(a));
    EXPECT_EQ(PROXY_OK, add(b));
    EXPECT_EQ(PROXY_OK, add(c, "a", "bc")); // the joined text is the pair
    EXPECT_THAT(deliver(new StringElem("x")), ElementsAre("a ab.c \"x\"", "b ab.c \"x\"", "c ab.c \"x\""));
    EXPECT_EQ(PROXY_OK, remove(a));
    EXPECT_EQ(PROXY_OK, remove(a)); // the pair is there
    EXPECT_EQ(PROXY_OK, remove(c));
    EXPECT_THAT(deliver(), ElementsAre("b ab.c nothing"));
    EXPECT_EQ(PROXY_OK, remove(b));
    EXPECT_THAT(deliver(), IsEmpty());
    StringElem data("said");
    EXPECT_EQ(PROXY_OK, proxy->sendEvent("ab", "c", &data));
    EXPECT_EQ(PROXY_OK, proxy->sendEvent("ab", "none", nullptr));
    for (char const* request : {"addObserver 1 ab.c null", "removeObserver 2 ab.c null",
                                "event 3 ab.c \"said\"", "event 4 ab.none null"})
        EXPECT_EQ(request, peer->hear());

    // As a proxy with a name of its own sends it.
    EXPECT_EQ(PROXY_OK, add(a));
    peer->send(makeMessage(0, 0,
                           {{"messageType", new StringElem("method")},
                            {"systemRule", new StringElem("event")},
                            {"objName", new StringElem("ab")},
                            {"event", new StringElem("c")},
                            {"identity", new StringElem("!me")},
                            {"data", new StringElem("x")}}));
    settle();
    EXPECT_THAT(notes, ElementsAre("a ab.c!me \"x\""));

    peer.reset();
    settle();
    EXPECT_EQ(PROXY_CONNECTION_ERROR, add(a));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, remove(a));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, proxy->sendEvent("ab", "c", nullptr));
    // The bus of the next connection knows nothing: the first to come asks it, though an older one is listed.
    connect();
    EXPECT_EQ(PROXY_OBSERVER_ALREADY_EXISTS, add(a));
    EXPECT_TRUE(peer->isQuiet());
    EXPECT_EQ(PROXY_OK, add(b));
    EXPECT_EQ("addObserver 6 ab.c null", peer->hear());
    EXPECT_EQ(PROXY_OK, add(c));
    EXPECT_TRUE(peer->isQuiet());
}

TEST_F(TavixProxyEvents, changesDuringADeliveryBindItAtOnceOnlyWhenTheyRemove)
{
    for (Noting* observer : {&a, &b})
        add(*observer);
    a.act = [&] {
        remove(a);
        remove(b);
        add(c);
    };
    EXPECT_THAT(deliver(), ElementsAre("a ab.c nothing"));
    EXPECT_THAT(deliver(), ElementsAre("c ab.c nothing"));

    // Two deliveries are under way when b goes: neither calls it.
    remove(c);
    for (Noting* observer : {&a, &b, &c})
        add(*observer);
    a.act = [&] {
        a.act = [&] { remove(b); };
        peer->send(makeRequest(Event, 0, "ab", "c", new StringElem("inner")));
        settle();
    };
    EXPECT_THAT(deliver(new StringElem("outer")),
                ElementsAre("a ab.c \"outer\"", "a ab.c \"inner\"", "c ab.c \"inner\"", "c ab.c \"outer\""));

    // An exception leaves through the loop, and nothing stays locked or counted.
    a.act = [] { throw std::string("thrown"); };
    EXPECT_THROW(deliver(), std::string);
    std::thread([&] { EXPECT_EQ(PROXY_OK, remove(a)); }).join();
    EXPECT_THAT(deliver(), ElementsAre("c ab.c nothing"));
}

// The observer is inside its call when another thread removes it, and leaves it behind the message to the bus.
TEST_F(TavixProxyEvents, aRemovalWaitsForTheCallOnAnotherThread)
{
    connectForThreads();
    add(a);
    peer->receive();
    std::atomic<bool> left{false};
    std::thread remover;
    a.act = [&] {
        remover = std::thread([&] {
            remove(a);
            EXPECT_TRUE(left);
        });
        EXPECT_EQ("removeObserver", peer->hear().substr(0, 14));
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        left = true;
    };
    peer->send(makeRequest(Event, 0, "ab", "c"));
    settle();
    remover.join();
    EXPECT_THAT(deliver(), IsEmpty());
}

// A proxy that does something just before a message of one type is sent.
struct Interrupted : TavixProxy {
    using TavixProxy::TavixProxy;
    CoreRequest* formatAndSendRequest(EESMessageType type, std::string const& objName,
                                      std::string const& method, Element* params, bool wantsResponse,
                                      RemoteProxyResult& result, ResponseCallback callback,
                                      void* userData) override
    {
        if (type == before && act)
            std::exchange(act, nullptr)();
        return TavixProxy::formatAndSendRequest(type, objName, method, params, wantsResponse, result,
                                                callback, userData);
    }
    EESMessageType before = AddObserver;
    std::function<void()> act;
};

TEST_F(TavixProxyEvents, theBusHearsOfChangesInTheOrderOfTheTable)
{
    Interrupted* interrupted = new Interrupted(loop);
    proxy.reset(interrupted);
    connect();
    // The connection breaks in between: the observer is not listed, and may go.
    interrupted->act = [&] {
        peer->close();
        settle();
    };
    EXPECT_EQ(PROXY_CONNECTION_ERROR, add(a));
    connect();
    EXPECT_EQ(PROXY_OK, add(a));
    EXPECT_EQ("addObserver 2 ab.c null", peer->hear());
    // Another thread adds an observer between the removal of the last one and its message.
    std::thread other;
    interrupted->before = RemoveObserver;
    interrupted->act = [&] {
        other = std::thread([&] { add(b); });
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
    };
    remove(a);
    other.join();
    for (char const* request : {"removeObserver 3 ab.c null", "addObserver 4 ab.c null"})
        EXPECT_EQ(request, peer->hear());
}

// An observer throws while a call and a wait for an object run the loop: what is behind them comes too late.
TEST_F(TavixProxyEvents, anExceptionInAWaitLeavesNobodyToAnswer)
{
    add(a);
    RemoteProxyResult result;
    for (int round = 0; round < 2; ++round) {
        a.act = [] { throw std::string("thrown"); };
        peer->send(makeRequest(Event, 0, "ab", "c"));
        if (round == 0)
            EXPECT_THROW(proxy->callMethod("clock", "now", nullptr, result), std::string);
        else
            EXPECT_THROW(proxy->waitForObject("clock"), std::string);
    }
    for (unsigned id = 1; id < 6; ++id)
        peer->send(makeResponse(id, 0, new StringElem("late")));
    peer->send(makeRequest(Event, 0, "tvx", "objectAdded", new StringElem("clock")));
    settle();
    peer.reset();
    settle();
}

// Threads come and go with observers of one pair while events arrive; the bus hears of firsts and lasts in turn.
TEST_F(TavixProxyEvents, observersOfManyThreads)
{
    struct Watched : ObjectEventObserver {
        void event(std::string, std::string, Element*) override { EXPECT_FALSE(removed); }
        bool removed = false; // read and written without a lock: the proxy keeps the two apart
    };
    connectForThreads();
    std::atomic<bool> stopping{false};
    std::atomic<int> rounds{0};
    auto comeAndGo = [&] {
        while (!stopping) {
            Watched observer;
            EXPECT_EQ(PROXY_OK, proxy->addObserver("ab", "c", &observer));
            std::this_thread::yield();
            EXPECT_EQ(PROXY_OK, proxy->removeObserver("ab", "c", &observer));
            observer.removed = true;
            ++rounds;
        }
    };
    auto iterate = [&] {
        while (proxy->isConnected())
            loop->iterate();
    };
    std::thread looping(iterate);
    std::thread threads[] = {std::thread(comeAndGo), std::thread(comeAndGo), std::thread(comeAndGo)};
    while (rounds < 3000)
        peer->send(makeRequest(Event, 0, "ab", "c", new StringElem("x")));
    stopping = true;
    for (std::thread& thread : threads)
        thread.join();
    proxy->sendEvent("the", "end", nullptr);
    int heard = 0;
    for (std::string said = peer->hear(); said.substr(0, 5) != "event"; said = peer->hear())
        ASSERT_EQ(++heard % 2 ? "addObser" : "removeOb", said.substr(0, 8));
    EXPECT_GE(heard, 2);
    EXPECT_EQ(0, heard % 2);
    peer.reset();
    looping.join();
}

class ObjectReady : public TavixProxyEvents {
protected:
    // Answers the next listObjects, behind what else has been asked.
    void list(std::initializer_list<char const*> names)
    {
        Frame request = peer->receive();
        while (request.describe().find("listObjects") == std::string::npos)
            request = peer->receive();
        ListElem* list = new ListElem;
        for (char const* name : names)
            list->add(name);
        peer->send(makeResponse(request.id, 0, list));
    }
    void announce(char const* name)
    {
        peer->send(makeRequest(Event, 0, "tvx", "objectAdded", new StringElem(name)));
    }
    // Waits for "clock" while `meanwhile` plays the bus.
    RemoteProxyResult waitWhile(std::function<void()> const& meanwhile)
    {
        std::thread bus(meanwhile);
        RemoteProxyResult result = proxy->waitForObject("clock");
        bus.join();
        return result;
    }
    static void count(TavixProxy*, void* counter) { ++*static_cast<int*>(counter); }
};

TEST_F(ObjectReady, theCallbackRunsOnceNowOrLater)
{
    connectForThreads();
    int present = 0, late = 0, second = 0;
    auto ask = [&](int& counter, std::initializer_list<char const*> names) {
        std::thread bus([&] { list(names); });
        EXPECT_EQ(PROXY_OK, proxy->onObjectAdded("clock", count, &counter));
        bus.join();
    };
    ask(present, {"tvx", "clock", "clock"});
    EXPECT_EQ(1, present);
    ask(late, {"tvx"});
    ask(second, {"tvx"});
    for (char const* name : {"clock2", "clock", "clock"})
        announce(name);
    settle();
    EXPECT_EQ(1, present);
    EXPECT_EQ(1, late);
    EXPECT_EQ(1, second);
    int never = 0;
    ask(never, {"tvx"}); // goes with the proxy
}

TEST_F(ObjectReady, waitForObjectEndsWithTheObjectOrWithTheConnection)
{
    connectForThreads();
    EXPECT_EQ(PROXY_OK, waitWhile([&] { list({"clock"}); }));
    EXPECT_EQ(PROXY_OK, waitWhile([&] {
                  list({});
                  announce("clock");
              }));
    EXPECT_EQ(PROXY_EXCEPTION, waitWhile([&] {
                  while (true) {
                      Frame request = peer->receive();
                      if (request.describe().find("listObjects") == std::string::npos)
                          continue;
                      peer->send(makeResponse(request.id, 0, new ExceptionElem("no", 99)));
                      return;
                  }
              }));
    announce("clock"); // nobody is armed any more
    settle();
    EXPECT_EQ(PROXY_CONNECTION_ERROR, waitWhile([&] {
                  list({});
                  peer->close();
              }));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, proxy->waitForObject("clock"));
    connect();
    announce("clock");
    settle();
}

} // namespace
