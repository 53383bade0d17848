// The calling side of a proxy, against a peer that speaks single frames in place of a bus.
#include "support/SocketPair.h"
#include "support/TestBus.h"
#include "tavix/SelectLoopGlue.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace Tavix;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const unsigned kMaxFrame = 196608;

class TavixProxyTest : public testing::Test, protected ProxyWithPeer {
protected:
    TavixProxyTest() { connect(); }

    // Takes params. The answer is noted.
    RemoteProxyResult send(char const* method, Element* params = nullptr)
    {
        std::unique_ptr<Element> owned(params);
        return proxy->callMethodAsync("clock", method, params, Answers::note, &answers);
    }

    // A synchronous call: the result's code and the value.
    std::string call()
    {
        RemoteProxyResult result = PROXY_EXCEPTION;
        std::unique_ptr<Element> value(proxy->callMethod("clock", "now", nullptr, result));
        return std::to_string(result) + " " + (value ? describe(value.get()) : "nothing");
    }

    Answers answers;
};

TEST_F(TavixProxyTest, requestsCountFromOneAndResponsesComeInAnyOrder)
{
    for (char const* method : {"a", "b", "c"})
        EXPECT_EQ(PROXY_OK, send(method));
    EXPECT_EQ(PROXY_OK, proxy->callMethodAsync(nullptr, nullptr, "clock", "d", "{i}", "hour", 5));
    for (char const* request : {"callMethod 1 clock.a null", "callMethod 2 clock.b null",
                                "callMethod 3 clock.c null", "callMethod 4 clock.d {\"hour\":5}"})
        EXPECT_EQ(request, peer->hear());
    for (unsigned id : {3u, 99u, 2u, 2u, 4u, 0u, 1u})
        peer->send(makeResponse(id, 0, new IntegerElem(static_cast<int>(id))));
    settle();
    EXPECT_THAT(answers.texts, ElementsAre("3", "2", "1"));
}

TEST_F(TavixProxyTest, synchronousCallGivesTheValueOrTheCode)
{
    struct {
        std::string response, outcome;
    } const cases[] = {
        {makeResponse(1, 0, new StringElem("noon")), "0 \"noon\""},
        {makeResponse(2, 0, new ExceptionElem("no", -1)), "10 !-1 no"},
        {makeResponse(3, 0, new ExceptionElem("no", 0)), "10 !0 no"},
        {makeResponse(4, 0, new ExceptionElem("no", 1)), "1 !1 no"},
        {makeResponse(5, 0, new ExceptionElem("no", 9)), "9 !9 no"},
        {makeResponse(6, 0, new ExceptionElem("no", 11)), "10 !11 no"},
        {makeMessage(7, 0, {{"messageType", new StringElem("response")}}), "0 null"},
        {withDeepValue(makeResponse(8, 0, new NullElem)), "10 !-1 The response could not be decoded"},
    };
    for (auto const& c : cases) {
        peer->send(c.response); // nobody reads it before the call waits
        EXPECT_EQ(c.outcome, call());
    }
}

TEST_F(TavixProxyTest, largestRequestIsSentAndOneByteMoreIsRefused)
{
    const size_t rest = makeRequest(CallMethod, 1, "clock", "set", makeText(0)).size();
    EXPECT_EQ(PROXY_OK, send("set", makeText(kMaxFrame - rest)));
    EXPECT_EQ(kMaxFrame, peer->receive().bytes.size());
    EXPECT_EQ(PROXY_REQUEST_TOO_LARGE, send("set", makeText(kMaxFrame - rest + 1)));
    EXPECT_EQ(PROXY_OK, send("get"));
    EXPECT_EQ("callMethod 3 clock.get null", peer->hear());
    peer->close();
    settle();
    EXPECT_EQ(2u, answers.texts.size());
}

TEST_F(TavixProxyTest, whatTheFormatCannotCarryIsRefusedWithThePlace)
{
    MapElem* badKey = new MapElem;
    badKey->addChild("", new NullElem);
    MapElem* outer = new MapElem;
    outer->addChild("inner", badKey);
    struct {
        Element* params;
        RemoteProxyResult result;
        char const* reason;
    } const cases[] = {{makeNested(129), PROXY_MEMORY_ERROR, "0/0: nested deeper than 128 levels"},
                       {outer, PROXY_MEMORY_ERROR, "\"params\"/\"inner\""}};
    for (auto const& c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.result, send("set", c.params));
        const std::string line = testing::internal::GetCapturedStderr();
        EXPECT_THAT(line, HasSubstr("cannot send \"set\" to object \"clock\": "));
        EXPECT_THAT(line, HasSubstr(c.reason));
        EXPECT_TRUE(peer->isQuiet());
    }
    EXPECT_EQ(PROXY_OK, send("set", makeNested(128)));
    EXPECT_THAT(peer->hear(), HasSubstr("[[[["));
}

// Notes every response with its request, and whether the proxy was connected; acts once, in the first.
struct Ending {
    static void note(ResponseData const* response, void* state)
    {
        Ending& self = *static_cast<Ending*>(state);
        self.texts.push_back(std::to_string(response->requestId) + ": " +
                             describe(response->map->getChild("result")) +
                             (self.proxy->isConnected() ? " connected" : ""));
        if (auto action = std::exchange(self.action, nullptr))
            action();
    }

    TavixProxy* proxy;
    std::function<void()> action;
    std::vector<std::string> texts;
};

TEST_F(TavixProxyTest, endOfTheConnectionEndsEveryRequestInOrder)
{
    for (bool foundBySending : {false, true}) {
        connect();
        Ending ending{proxy.get(), nullptr, {}};
        for (int i = 0; i < 12; ++i)
            proxy->callMethodAsync("clock", "now", nullptr, Ending::note, &ending);
        peer->close();
        if (foundBySending) {
            EXPECT_EQ("2 !2 Connection broken", call());
        }
        settle();
        ASSERT_EQ(12u, ending.texts.size());
        for (int i = 0; i < 12; ++i)
            EXPECT_EQ(std::to_string(i + (foundBySending ? 13 : 1)) + ": !2 Connection broken",
                      ending.texts[i]);
        EXPECT_EQ("2 nothing", call());
        EXPECT_EQ(PROXY_CONNECTION_ERROR, proxy->addSharedObject("clock", nullptr));
    }
}

TEST_F(TavixProxyTest, callbackMayConnectAgainAndSend)
{
    const long before = countDescriptors();
    Ending ending{proxy.get(), nullptr, {}};
    ending.action = [&] {
        connect();
        proxy->callMethodAsync("clock", "again", nullptr, Ending::note, &ending);
        peer->send(makeResponse(5, 0, new IntegerElem(5)));
        ending.texts.push_back(call()); // waits while the rest of the old requests has not ended
    };
    for (int i = 0; i < 3; ++i)
        proxy->callMethodAsync("clock", "now", nullptr, Ending::note, &ending);
    peer->close();
    settle();
    EXPECT_EQ("callMethod 4 clock.again null", peer->hear());
    peer->send(makeResponse(4, 0, new IntegerElem(4)));
    settle();
    EXPECT_THAT(ending.texts,
                ElementsAre("1: !2 Connection broken", "0 5", "2: !2 Connection broken connected",
                            "3: !2 Connection broken connected", "4: 4 connected"));
    EXPECT_EQ(before, countDescriptors());
}

TEST_F(TavixProxyTest, connectToFdTakesItsDescriptorUnlessConnected)
{
    SocketPair sockets;
    EXPECT_TRUE(proxy->connectToFd(sockets.near()));
    EXPECT_GE(fcntl(sockets.near(), F_GETFD), 0);

    TavixProxy other(SharedPtr<PollLoopIf>(new SelectLoopGlue));
    EXPECT_FALSE(other.connectToFd(-1));
    const int high = fcntl(sockets.near(), F_DUPFD, FD_SETSIZE);
    if (high < 0)
        GTEST_SKIP() << "needs descriptors that do not fit a select loop";
    testing::internal::CaptureStderr();
    EXPECT_FALSE(other.connectToFd(high));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(std::to_string(high)));
    EXPECT_FALSE(other.isConnected());
    EXPECT_LT(fcntl(high, F_GETFD), 0);
}

// The peer answers some requests and goes, again and again, while two threads send and one reads. A request
// that was taken ends once, on whichever connection.
TEST_F(TavixProxyTest, takenRequestsEndOnceWhileConnectionsComeAndGo)
{
    Ferrule::Semaphore ended{0};
    auto post = [](ResponseData const*, void* state) { static_cast<Ferrule::Semaphore*>(state)->post(); };
    std::atomic<bool> stopping{false};
    std::atomic<int> taken{0};
    auto sendAll = [&] {
        while (!stopping)
            taken += proxy->callMethodAsync("clock", "now", nullptr, post, &ended) == PROXY_OK;
    };
    auto iterate = [&] {
        while (!stopping || proxy->isConnected())
            loop->iterate();
    };
    std::thread threads[] = {std::thread(iterate), std::thread(sendAll), std::thread(sendAll)};
    for (int round = 0; round < 200; ++round) {
        connect(false);
        for (int i = 0; i < round; ++i)
            peer->send(makeResponse(peer->receive().id, 0, new IntegerElem(i)));
    }
    stopping = true;
    peer.reset();
    for (std::thread& thread : threads)
        thread.join();
    for (int i = 0; i < taken; ++i)
        ended.wait();
    EXPECT_FALSE(ended.tryWait());
}

// The sender completes the requests one by one, while the caller goes round in a loop that has no source any
// more.
TEST_F(TavixProxyTest, callerInTheLoopReturnsFromABreakThatASenderFinds)
{
    auto giveWay = [](ResponseData const*, void*) {
        for (int i = 0; i < 300; ++i)
            std::this_thread::yield();
    };
    for (int round = 0; round < 300; ++round) {
        peer.reset();
        settle();
        connect(false);
        proxy->callMethodAsync("clock", "now", nullptr, giveWay, nullptr);
        std::thread sender([&] {
            peer->receive();
            peer->receive(); // the caller's
            peer->close();
            send("now");
        });
        EXPECT_EQ("2 !2 Connection broken", call());
        sender.join();
    }
}

} // namespace
