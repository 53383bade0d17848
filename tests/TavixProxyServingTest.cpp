// The serving side of a proxy, against a peer that hands it calls as a bus would.
#include "support/TestBus.h"
#include "tavix/TableDrivenTavix.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

using namespace Tavix;
using testing::HasSubstr;

namespace {

const size_t kMaxFrame = 196608;

// Calls come from client 3.
class ServingTest : public testing::Test, protected ProxyWithPeer {
protected:
    ServingTest() { connect(); }

    void share(std::string const& name, Service& service)
    {
        EXPECT_EQ(PROXY_OK, proxy->addSharedObject(name, &service));
        EXPECT_THAT(peer->hear(), HasSubstr("addSharedObject"));
    }
    void send(unsigned id, std::string const& objName, std::string const& method, Element* params = nullptr)
    {
        peer->send(stamped(makeRequest(CallMethod, id, objName, method, params), 3));
        settle();
    }
    std::string call(std::string const& objName, std::string const& method, Element* params = nullptr)
    {
        send(7, objName, method, params);
        Frame answer = peer->receive();
        EXPECT_EQ(3u, answer.clientId);
        return answer.describe();
    }

    // Takes every call and answers none.
    Service keeper{[this](Service::Invocation invocation) {
        kept.push_back(invocation);
        return true;
    }};
    Service five{[](std::string const&, Element*) { return new IntegerElem(5); }};
    std::vector<Service::Invocation> kept;
};

void respond(Service::Invocation const& invocation, int value)
{
    IntegerElem answer(value);
    invocation->respond(&answer);
}

Element* answerInManyWays(std::string const& method, Element* params)
{
    if (method == "params")
        return new StringElem(describe(params));
    if (method == "throw exception")
        throw std::runtime_error("no time");
    if (method == "throw string")
        throw std::string("no string");
    if (method == "throw int")
        throw 5;
    if (method == "text")
        return makeText(static_cast<size_t>(params->intValue()));
    return (new ListElem)->add(makeNested(128));
}

TEST_F(ServingTest, answersEachCallOnce)
{
    const int roomy = static_cast<int>(kMaxFrame - makeResponse(1, 1, makeText(0)).size());
    Service clock(answerInManyWays);
    Service silent([](Service::Invocation const&) { return false; });
    share("clock", clock);
    share("silent", silent);
    struct {
        char const* objName;
        char const* method;
        Element* params;
        std::string answer;
    } const cases[] = {
        {"clock", "params", nullptr, "\"null\""},
        {"clock", "params", new IntegerElem(5), "\"5\""},
        {"clock", "throw exception", nullptr,
         "!10 Caught exception while calling clock::throw exception: no time"},
        {"clock", "throw string", nullptr,
         "!10 Caught exception while calling clock::throw string: no string"},
        {"clock", "throw int", nullptr, "!10 Caught exception while calling clock::throw int"},
        {"clock", "text", new IntegerElem(roomy), describe(std::unique_ptr<Element>(makeText(roomy)).get())},
        {"clock", "text", new IntegerElem(roomy + 1), "!-1 Message too large"},
        {"clock", "deep", nullptr, "!-1 \"result\"/0"},
        {"silent", "now", nullptr, "!-1 Unknown method"},
        {"nobody", "now", nullptr, "!4 Object not found"},
    };
    for (auto const& c : cases)
        EXPECT_THAT(call(c.objName, c.method, c.params), testing::StartsWith("7: " + c.answer));
    EXPECT_TRUE(peer->isQuiet());
}

TEST_F(ServingTest, tokenAnswersLateFromAnyThreadAndOnce)
{
    share("clock", keeper);
    send(8, "clock", "later", new IntegerElem(6));
    EXPECT_TRUE(peer->isQuiet());
    EXPECT_EQ("6", describe(kept[0]->getParams()));
    std::thread([&] { respond(kept[0], 2); }).join();
    EXPECT_EQ("8: 2", peer->hear());

    testing::internal::CaptureStderr();
    respond(kept[0], 3);
    const std::string warning = testing::internal::GetCapturedStderr();
    EXPECT_THAT(warning, HasSubstr("Warning: respond() called for method that wasn't pending\n"));
    EXPECT_THAT(warning, HasSubstr("  Request Id: 8\n  Object Name: clock\n  Method Name: later\n"));
    EXPECT_TRUE(peer->isQuiet());
}

TEST_F(ServingTest, removedObjectAnswersItsOpenCalls)
{
    share("clock", keeper);
    share("door", keeper);
    for (unsigned id : {9u, 8u, 7u})
        send(id, id == 8 ? "door" : "clock", "now");
    EXPECT_EQ(PROXY_OK, proxy->removeSharedObject("clock"));
    EXPECT_EQ(PROXY_OBJECT_NOT_FOUND, proxy->removeSharedObject("clock"));
    for (char const* said :
         {"removeSharedObject 3 clock. null", "9: !2 Object disappeared", "7: !2 Object disappeared"})
        EXPECT_EQ(said, peer->hear());
    testing::internal::CaptureStderr();
    for (Service::Invocation const& invocation : kept)
        respond(invocation, 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Warning: respond()"));
    EXPECT_EQ("8: 1", peer->hear());
    EXPECT_TRUE(peer->isQuiet());
}

// Client 3 of a later connection may be somebody else.
TEST_F(ServingTest, tokenOfAnEarlierConnectionOrProxyAnswersNobody)
{
    share("clock", keeper);
    send(7, "clock", "now");
    send(8, "clock", "now");
    peer->close();
    settle();
    connect();
    respond(kept[0], 1);
    EXPECT_TRUE(peer->isQuiet());
    EXPECT_EQ(PROXY_OK, proxy->removeSharedObject("clock")); // answers the other one
    EXPECT_EQ("removeSharedObject 2 clock. null", peer->hear());
    EXPECT_TRUE(peer->isQuiet());

    share("clock", keeper);
    send(9, "clock", "now");
    proxy.reset();
    respond(kept[2], 1);
}

TEST_F(ServingTest, handlerCallsOutWhileOthersAreServedAndMayRemoveItself)
{
    Service agent([&](std::string const& method, Element*) -> Element* {
        if (method == "quick")
            return new IntegerElem(1);
        peer->send(makeRequest(CallMethod, 8, "agent", "quick"));
        peer->send(makeResponse(2, 0, new IntegerElem(2)));
        RemoteProxyResult result;
        Element* value = proxy->callMethod("clock", "now", nullptr, result);
        proxy->addSharedObject("second", &five);
        proxy->removeSharedObject("agent"); // answers; the value comes too late
        return value;
    });
    share("agent", agent);
    testing::internal::CaptureStderr();
    send(7, "agent", "slow");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Warning: respond()"));
    for (char const* said : {"callMethod 2 clock.now null", "8: 1", "addSharedObject 3 second. null",
                             "removeSharedObject 4 agent. null", "7: !2 Object disappeared"})
        EXPECT_EQ(said, peer->hear());
    EXPECT_EQ("7: 5", call("second", "now"));
    EXPECT_EQ("7: !4 Object not found", call("agent", "quick"));
}

TEST_F(ServingTest, oddMessagesAreAnsweredIfTheyCanBe)
{
    auto text = [](char const* value) { return new StringElem(value); };
    const std::string plain = makeRequest(CallMethod, 7, "clock", "now", new NullElem);
    struct {
        std::string message, answer;
    } const cases[] = {
        {makeFrame(7, 3, ""), ""},
        {makeFrame(7, 3, "#$%&'()"), ""},
        {makeMessage(7, 3, {{"messageType", text("shout")}}), ""},
        {makeMessage(7, 3, {{"messageType", text("response")}}), ""},
        {makeMessage(7, 3, {{"systemRule", text("callMethod")}}), ""},
        {makeMessage(7, 3, {{"messageType", text("method")}, {"method", text("now")}}),
         "7: !-1 The call names no object or no method"},
        {makeMessage(7, 3, {{"messageType", text("method")}, {"objName", text("clock")}}),
         "7: !-1 The call names no object or no method"},
        {makeRequest(BackChannel, 7, "clock"), "7: !10 The request for a back channel holds no descriptor"},
        {withDeepValue(plain), "7: !-1 The call could not be decoded"},
        {std::string(plain).replace(7, 1, "\x09"), "7: !-1 The call could not be decoded"}, // the version
    };
    share("clock", five);
    for (auto const& c : cases) {
        peer->send(c.message);
        if (!c.answer.empty()) {
            EXPECT_EQ(c.answer, peer->hear());
        }
        EXPECT_TRUE(peer->isQuiet());
        EXPECT_EQ("7: 5", call("clock", "now"));
    }
}

TEST_F(ServingTest, addingReportsARefusalAndKeepsTheFirst)
{
    share("clock", five);
    share("clock", keeper);
    testing::internal::CaptureStderr();
    peer->send(makeResponse(2, 0, new ExceptionElem("Object Already Exists", 6)));
    settle();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("\"clock\": Object Already Exists (code 6)\n"));
    EXPECT_EQ("7: 5", call("clock", "now"));

    const std::string longName(kMaxFrame, 'x');
    EXPECT_EQ(PROXY_REQUEST_TOO_LARGE, proxy->addSharedObject(longName, &five));
    EXPECT_EQ(PROXY_OBJECT_NOT_FOUND, proxy->removeSharedObject(longName));
}

// A service that rebuilds its objects after a lost connection: no call may reach an observer that has gone.
TEST_F(ServingTest, objectsOfALostConnectionGiveWay)
{
    auto table = std::make_unique<TableDrivenTavix>("table", nullptr, 0);
    auto clock = std::make_unique<Service>([](std::string const&, Element*) { return new IntegerElem(4); });
    EXPECT_EQ(PROXY_OK, table->startShare(proxy.get()));
    EXPECT_THAT(peer->hear(), HasSubstr("addSharedObject"));
    share("clock", *clock);
    peer.reset();
    settle();
    EXPECT_FALSE(proxy->isConnected());
    table.reset();
    clock.reset();
    connect();
    EXPECT_THAT(call("table", "generateInterfaceDescription"), HasSubstr("Object not found"));
    share("clock", five);
    EXPECT_THAT(call("clock", "now"), HasSubstr("5"));
}

} // namespace
