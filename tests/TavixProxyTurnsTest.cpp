// What a proxy does with many messages at once, against a peer that hands them over in one piece: one turn reads them
// all and sends at its end, and nobody may find them in another order, too early, or not at all.
#include "support/TestBus.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <sys/wait.h>

using namespace Tavix;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// An object "agent" whose methods the test puts in; each call is noted. The peer does not step the loop.
class TavixProxyTurns : public testing::Test, protected ProxyWithPeer {
protected:
    TavixProxyTurns()
    {
        connect(false);
        EXPECT_EQ(PROXY_OK, proxy->addSharedObject("agent", &agent));
        EXPECT_THAT(peer->hear(), HasSubstr("addSharedObject 1"));
    }

    static std::string calls(unsigned id, char const* method)
    {
        return stamped(makeRequest(CallMethod, id, "agent", method), 3);
    }
    // A call of another object's, which gets the identifier 2.
    void callOut()
    {
        RemoteProxyResult result;
        std::unique_ptr<Element> value(proxy->callMethod("clock", "now", nullptr, result));
        seen.push_back("now " + describe(value.get()));
    }
    void sendTick() { EXPECT_EQ(PROXY_OK, proxy->sendEvent("agent", "tick", nullptr)); }

    Service agent{[this](std::string const& method, Element*) -> Element* {
        seen.push_back(method);
        if (methods.count(method) != 0)
            methods[method]();
        return new IntegerElem(static_cast<int>(seen.size()));
    }};
    std::map<std::string, std::function<void()>> methods;
    std::vector<std::string> seen;
};

const std::string kNow = makeResponse(2, 0, new IntegerElem(12));

TEST_F(TavixProxyTurns, holdsBackUntilTheEndAndSendsInOrder)
{
    methods["first"] = [&] {
        sendTick();
        EXPECT_TRUE(peer->isQuiet());
    };
    methods["last"] = [&] {
        EXPECT_EQ(PROXY_OK, proxy->callMethodAsync("clock", "now", nullptr, nullptr, nullptr));
        proxy->flush();
        EXPECT_FALSE(peer->isQuiet());
    };
    peer->send(calls(7, "first") + calls(8, "second") + calls(9, "last"));
    settle();
    EXPECT_THAT(seen, ElementsAre("first", "second", "last"));
    for (char const* said :
         {"event 2 agent.tick null", "7: 1", "8: 2", "callMethod 3 clock.now null", "9: 3"})
        EXPECT_EQ(said, peer->hear());
}

TEST_F(TavixProxyTurns, aWaitSeesNothingBehindItsAnswerBeforeItReturns)
{
    methods["slow"] = [&] { callOut(); };
    peer->send(calls(7, "slow") + calls(8, "before") + kNow + calls(9, "behind") + calls(10, "last"));
    settle();
    EXPECT_THAT(seen, ElementsAre("slow", "before", "now 12", "behind", "last"));
    for (char const* said : {"callMethod 2 clock.now null", "8: 2", "7: 3", "9: 4", "10: 5"})
        EXPECT_EQ(said, peer->hear());
}

TEST_F(TavixProxyTurns, whatAWaitLeavesBehindComesFromTheLoop)
{
    peer->send(calls(7, "before") + kNow + calls(8, "behind") + calls(9, "last"));
    callOut();
    EXPECT_THAT(seen, ElementsAre("before", "now 12"));
    settle();
    EXPECT_THAT(seen, ElementsAre("before", "now 12", "behind", "last"));
    for (char const* said : {"callMethod 2 clock.now null", "7: 1", "8: 3", "9: 4"})
        EXPECT_EQ(said, peer->hear());
}

TEST_F(TavixProxyTurns, aHandlerThatRunsTheLoopFindsAllOfItThere)
{
    methods["alone"] = [&] {
        sendTick();
        settle(); // it has left, and nothing keeps the loop busy
        EXPECT_FALSE(peer->isQuiet());
    };
    methods["modal"] = [&] {
        while (seen.back() != "close")
            loop->iterate();
    };
    peer->send(calls(7, "alone"));
    settle();
    for (char const* said : {"event 2 agent.tick null", "7: 1"})
        EXPECT_EQ(said, peer->hear());
    peer->send(calls(8, "modal") + calls(9, "other") + calls(10, "close"));
    settle();
    for (char const* said : {"9: 3", "10: 4", "8: 4"})
        EXPECT_EQ(said, peer->hear());
}

TEST_F(TavixProxyTurns, aWaitOnAnotherProxySendsWhatThisOneHasHeldBack)
{
    ProxyWithPeer other; // over a loop of its own
    other.connect(false);
    Service relay([&](std::string const&, Element*) -> Element* {
        other.proxy->sendEvent("relay", "tick", nullptr);
        peer->send(kNow);
        callOut();
        EXPECT_EQ("event 2 relay.tick null", other.peer->hear());
        return new NullElem;
    });
    EXPECT_EQ(PROXY_OK, other.proxy->addSharedObject("relay", &relay));
    EXPECT_THAT(other.peer->hear(), HasSubstr("addSharedObject"));
    other.peer->send(makeRequest(CallMethod, 7, "relay", "tick"));
    other.settle();
    EXPECT_EQ("7: null", other.peer->hear());
}

TEST_F(TavixProxyTurns, aTokenKeepsItsCallBehindLaterReads)
{
    Service::Invocation kept;
    agent.take = [&](Service::Invocation const& token) { return !kept.get() && (kept = token).get(); };
    for (char fill : {'a', 'b'}) {
        const std::string text(3000, fill);
        peer->send(stamped(makeRequest(CallMethod, 7, "agent", {fill}, new StringElem(text)), 3));
        settle();
    }
    EXPECT_THAT(seen, ElementsAre("b"));
    EXPECT_EQ("a", kept->getMethodName());
    EXPECT_EQ(std::string(3000, 'a'), kept->getParams()->stringValue());
    kept->respond(kept->getParams());
}

TEST_F(TavixProxyTurns, anExceptionOfACallbackKeepsNothingBack)
{
    auto fail = [](ResponseData const*, void*) { throw std::runtime_error("no time"); };
    EXPECT_EQ(PROXY_OK, proxy->callMethodAsync("clock", "now", nullptr, fail, nullptr));
    peer->send(calls(7, "first") + kNow + calls(8, "last"));
    EXPECT_THROW(settle(), std::runtime_error);
    for (char const* said : {"callMethod 2 clock.now null", "7: 1"})
        EXPECT_EQ(said, peer->hear());
    settle();
    EXPECT_EQ("8: 2", peer->hear());
}

TEST_F(TavixProxyTurns, whatAHandlerHasSentLeavesBeforeTheProcessExits)
{
    methods["quit"] = [&] {
        sendTick();
        std::exit(7);
    };
    peer->send(calls(7, "first") + calls(8, "quit"));
    EXPECT_EXIT(settle(), testing::ExitedWithCode(7), "");
    EXPECT_EQ("7: 1", peer->hear());
    EXPECT_EQ("event 2 agent.tick null", peer->hear());
}

// The break is found by the flush, behind handlers of the same turn.
TEST_F(TavixProxyTurns, aBreakInATurnEndsWhatItHasSent)
{
    Answers answers;
    methods["ask"] = [&] {
        EXPECT_EQ(PROXY_OK, proxy->callMethodAsync("clock", "now", nullptr, Answers::note, &answers));
    };
    peer->send(calls(7, "ask") + calls(8, "ask"));
    peer->close();
    settle();
    EXPECT_FALSE(proxy->isConnected());
    EXPECT_EQ(seen.size(), answers.texts.size());
    EXPECT_THAT(answers.texts, testing::Each("!2 Connection broken"));
    EXPECT_FALSE(seen.empty());
}

// Some loops call back once for reading and once for writing in the same pass.
TEST_F(TavixProxyTurns, aPassWithinAWaitSeesNothingBehindTheAnswerEither)
{
    methods["slow"] = [&] {
        peer->send(kNow + calls(8, "behind"));
        callOut();
    };
    peer->send(calls(7, "slow"));
    settle();
    EXPECT_THAT(seen, ElementsAre("slow", "now 12", "behind"));
}

TEST_F(TavixProxyTurns, aProxyMayGoInItsTurn)
{
    methods["leave"] = [&] {
        sendTick();
        proxy.reset();
    };
    peer->send(calls(7, "first") + calls(8, "leave") + calls(9, "late"));
    settle();
    for (char const* said : {"7: 1", "event 2 agent.tick null"})
        EXPECT_EQ(said, peer->hear());
    EXPECT_THAT(seen, ElementsAre("first", "leave"));
}

// Nothing of it may stay for the child to send once more.
TEST_F(TavixProxyTurns, whatWasHeldBackLeavesOnceWhenAHandlerForks)
{
    methods["fork"] = [&] {
        sendTick();
        const pid_t child = fork();
        if (child == 0)
            std::exit(0);
        waitpid(child, nullptr, 0);
    };
    peer->send(calls(7, "fork"));
    settle();
    for (char const* said : {"event 2 agent.tick null", "7: 1"})
        EXPECT_EQ(said, peer->hear());
    EXPECT_TRUE(peer->isQuiet());
}

TEST_F(TavixProxyTurns, whatAHandlerSendsOnAndOnArrivesMeanwhile)
{
    methods["stream"] = [&] {
        for (int i = 0; i < 100; ++i)
            sendTick();
        EXPECT_FALSE(peer->isQuiet());
    };
    peer->send(calls(7, "stream"));
    settle();
    for (unsigned id = 2; id < 102; ++id)
        EXPECT_EQ("event " + std::to_string(id) + " agent.tick null", peer->hear());
    EXPECT_EQ("7: 1", peer->hear());
}

} // namespace
