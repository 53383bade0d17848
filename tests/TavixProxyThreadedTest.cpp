// A proxy with a thread of its own, against the bus that another one hosts.
#include "tavix/TavixProxyThreaded.h"

#include "support/TempDir.h"
#include "support/TestBus.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <thread>

using namespace Tavix;

namespace {

class TavixProxyThreadedTest : public testing::Test {
protected:
    TavixProxyThreadedTest()
    {
        setenv("QZV_RUNTIME_DIR", directory.file("absent").c_str(), 1);
        host->startServer(); // it fails, and leaves room for the next
        setenv("QZV_RUNTIME_DIR", directory.path().c_str(), 1);
        host->startServer();
        host->startServer(); // there is one
        EXPECT_TRUE(host->connect(nullptr, 0));
        EXPECT_TRUE(client.connect(nullptr, 0));
        EXPECT_EQ(PROXY_OK, host->addSharedObject("echo", &echo));
        EXPECT_EQ(PROXY_OK, client.waitForObject("echo"));
    }
    ~TavixProxyThreadedTest() override { unsetenv("QZV_RUNTIME_DIR"); }

    static std::string call(TavixProxy& proxy, char const* method, Element* params = nullptr)
    {
        std::unique_ptr<Element> owned(params);
        RemoteProxyResult result = PROXY_EXCEPTION;
        std::unique_ptr<Element> value(proxy.callMethod("echo", method, params, result));
        return std::to_string(result) + " " + (value ? describe(value.get()) : "nothing");
    }

    TempDir directory;
    Service echo{[this](std::string const& method, Element* params) -> Element* {
        if (method == "nested") // through the bus, and back to this thread
            return host->callMethod("echo", "inner", params, nestedResult);
        if (method == "nested never")
            return host->callMethod("slow", "never", params, nestedResult);
        if (method == "thread") {
            char name[16] = {};
            prctl(PR_GET_NAME, name);
            return new StringElem(name);
        }
        if (method == "stop") {
            entered.post();
            told.wait();
            host->killMainLoop();
            stopped.post();
        }
        return params->clone();
    }};
    RemoteProxyResult nestedResult = PROXY_OK;
    Ferrule::Semaphore entered{0}, told{0}, stopped{0};
    const int named = prctl(PR_SET_NAME, "fifteen_letters"); // for the threads to inherit
    std::unique_ptr<TavixProxyThreaded> host{new TavixProxyThreaded};
    TavixProxyThreaded client;
};

TEST_F(TavixProxyThreadedTest, callsBlockTheirCallerOnlyAndHandlersMayCall)
{
    EXPECT_EQ("0 7", call(client, "any", new IntegerElem(7)));
    EXPECT_EQ("0 7", call(*host, "nested", new IntegerElem(7)));
    EXPECT_EQ("0 \"fifteen_lett.rp\"", call(client, "thread")); // 12 of them, and what the kernel keeps
    EXPECT_EQ("10 !-1 Unknown method", [&] {
        Service none{Service::Answer()};
        host->addSharedObject("none", &none);
        client.waitForObject("none");
        RemoteProxyResult result;
        std::unique_ptr<Element> value(client.callMethod("none", "any", nullptr, result));
        host->removeSharedObject("none");
        return std::to_string(result) + " " + describe(value.get());
    }());
}

TEST_F(TavixProxyThreadedTest, aRequestBehindTheEndIsRefusedWithALine)
{
    client.killMainLoop();
    testing::internal::CaptureStdout();
    EXPECT_EQ(PROXY_CONNECTION_ERROR, client.sendEvent("echo", "any", nullptr));
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("when its thread is not running"));
}

// The thread ends while a request is on its way, and another connection has come when the request leaves.
TEST_F(TavixProxyThreadedTest, theEndOvertakesARequest)
{
    struct Interrupting : NullElem { // by what it does while it is encoded
        explicit Interrupting(std::function<void()> action) : action(std::move(action)) {}
        void accept(ElementVisitor* visitor) override
        {
            action();
            NullElem::accept(visitor);
        }
        const std::function<void()> action;
    };
    auto interrupt = [this] {
        host->stopServer();
        while (client.isConnected())
            std::this_thread::yield();
        client.killMainLoop();
        host->startServer();
        EXPECT_TRUE(client.connect(nullptr, 0));
    };
    EXPECT_EQ("2 !2 Connection broken", call(client, "any", new Interrupting(interrupt)));
}

TEST_F(TavixProxyThreadedTest, theEndReleasesEverybodyWhoWaits)
{
    Service::Invocation kept;
    Ferrule::Semaphore taken{0};
    Service slow([&](Service::Invocation call) {
        kept = call;
        taken.post();
        return true;
    });
    client.addSharedObject("slow", &slow);
    EXPECT_EQ(PROXY_OK, host->waitForObject("slow"));
    std::vector<std::thread> waiting;
    waiting.emplace_back([&] {
        RemoteProxyResult result;
        std::unique_ptr<Element> value(host->callMethod("slow", "never", nullptr, result));
        EXPECT_EQ(PROXY_CONNECTION_ERROR, result);
    });
    taken.wait();
    waiting.emplace_back([&] { EXPECT_EQ(PROXY_CONNECTION_ERROR, host->waitForObject("nobody")); });
    waiting.emplace_back([&] { EXPECT_THAT(call(client, "nested never"), testing::StartsWith("2 !2 ")); });
    taken.wait(); // the host's own thread waits in a handler now
    host->killMainLoop();
    host->killMainLoop();
    std::thread other([&] { host->stopServer(); }); // both at once, without a thread that does it for them
    host->stopServer();                             // the client hears of the end of the bus
    other.join();
    for (std::thread& thread : waiting)
        thread.join();
    EXPECT_EQ(PROXY_CONNECTION_ERROR, nestedResult);
}

TEST_F(TavixProxyThreadedTest, aHandlerMayEndItsOwnThread)
{
    std::thread caller([&] { EXPECT_EQ("2 !2 Connection broken", call(client, "stop")); });
    entered.wait();
    for (int i = 0; i < 1000; ++i)
        host->poke_main_loop(); // more than the handler that does not look at them leaves room for
    told.post();
    stopped.wait();
    host.reset(); // with the bus
    caller.join();
    EXPECT_THAT(call(client, "any"), testing::StartsWith("2 "));
}

TEST_F(TavixProxyThreadedTest, theBusMayEndUnderItsCallers)
{
    std::thread caller([&] {
        while (call(client, "any") == "0 null") {
        }
    });
    EXPECT_EQ("0 null", call(*host, "any"));
    host->stopServer();
    caller.join();
    host->startServer();
    EXPECT_TRUE(client.connect(nullptr, 0));
}

} // namespace
