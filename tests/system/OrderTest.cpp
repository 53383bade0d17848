// Two programs send each other calls, answers and events of many sizes, whole windows of them at a time, and now and
// then wait inside a handler. All that one sends is numbered, and comes in that order.
#include "support/TestBus.h"
#include "system/SystemBus.h"
#include "tavix/EpollLoopGlue.h"
#include "tavix/ObjectEventObserver.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <random>
#include <thread>

using namespace Tavix;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kMessages = 50000;
#else
constexpr unsigned kMessages = 500000; // of each side, and more: answers to what the other one sends last
#endif
constexpr int kWindow = 64;

// One of the two, on a thread of its own.
class Side : ObjectEventObserver {
public:
    Side(std::string const& path, std::string const& name, std::string const& other)
        : own(name), other(other), random(static_cast<unsigned>(name.size()))
    {
        EXPECT_TRUE(proxy.connect(path.c_str(), 0));
        EXPECT_EQ(PROXY_OK, proxy.addObserver(other, "tick", this));
        EXPECT_EQ(PROXY_OK, proxy.addSharedObject(own, &service));
    }

    void run()
    {
        EXPECT_EQ(PROXY_OK, proxy.waitForObject(other));
        for (int i = 0; i < kWindow; ++i)
            sendMore();
        while (open > 0 || !otherIsDone)
            loop->iterate();
    }

    unsigned sent = 0;
    unsigned heard = 0;
    unsigned disorder = 0;

private:
    // Mostly small; some around the sizes of a read and of a large frame, and some larger.
    StringElem numbered()
    {
        const unsigned kind = random() % 1024;
        const size_t length = kind < 950    ? kind % 61
                              : kind < 1010 ? 900 + random() % 300
                              : kind < 1022 ? 16100 + random() % 400
                                            : 66000;
        return StringElem(std::to_string(sent++) + " " + std::string(length, 'x'));
    }
    void check(Element* element)
    {
        const std::string text = element->stringValue();
        disorder += std::stoul(text) != heard++ || (text.size() > 66 && text.back() != 'x');
    }

    void sendMore()
    {
        if (random() % 2 != 0)
            sendEvent("tick");
        StringElem params = numbered();
        const char* method = random() % 512 == 0 ? "wait" : "answer";
        EXPECT_EQ(PROXY_OK, proxy.callMethodAsync(other, method, &params, answered, this));
        ++open;
    }
    void sendEvent(char const* event)
    {
        StringElem data = numbered();
        EXPECT_EQ(PROXY_OK, proxy.sendEvent(own, event, &data));
    }
    static void answered(ResponseData const* response, void* side)
    {
        static_cast<Side*>(side)->goOn(response->map->find("result"));
    }
    void goOn(Element* answer)
    {
        check(answer);
        --open;
        if (sent < kMessages)
            sendMore();
        else if (open == 0)
            proxy.sendEvent(own, "tick", nullptr);
    }
    void event(std::string, std::string, Element* data) override
    {
        if (data)
            check(data);
        else
            otherIsDone = true;
    }
    Element* serve(std::string const& method, Element* params)
    {
        if (method == "plain")
            return new NullElem;
        check(params);
        if (method == "wait") {
            RemoteProxyResult result;
            delete proxy.callMethod(other, "plain", nullptr, result);
            EXPECT_EQ(PROXY_OK, result);
        }
        return new StringElem(numbered());
    }

    const std::string own;
    const std::string other;
    std::minstd_rand random;
    SharedPtr<PollLoopIf> loop{new EpollLoopGlue};
    Service service{[this](std::string const& method, Element* params) { return serve(method, params); }};
    TavixProxy proxy{loop};
    int open = 0;
    bool otherIsDone = false;
};

class Order : public SystemBus {};

TEST_F(Order, holdsBetweenTwoPrograms)
{
    Side left(path, "left", "right");
    Side right(path, "right", "left");
    std::thread thread([&] { right.run(); });
    left.run();
    thread.join();
    EXPECT_EQ(left.sent, right.heard);
    EXPECT_EQ(right.sent, left.heard);
    EXPECT_EQ(0u, left.disorder + right.disorder);
}

} // namespace
