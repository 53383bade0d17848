// Objects with a table of handlers, against a peer in place of a bus.
#include "tavix/TavixTemplate.h"

#include "support/TestBus.h"
#include "tavix/elements/IntegerElem.h"

#include <gtest/gtest.h>

using namespace Tavix;

namespace {

// Keeps its calls, or declines them.
struct Handler : TavixTemplate::BaseMethodCall {
    explicit Handler(std::vector<Service::Invocation>* kept) : kept(kept) {}

    bool invoke(TavixTemplate*, Service::Invocation invocation) override
    {
        if (kept)
            kept->push_back(invocation);
        return kept != nullptr;
    }
    void describe(char const* name, MapElem* methods) override
    {
        methods->addChild(name, new IntegerElem(1));
    }

    std::vector<Service::Invocation>* kept;
};

struct Door : TavixTemplate {
    explicit Door(std::vector<Service::Invocation>* kept) : TavixTemplate("door")
    {
        addMethod("open", new Handler(nullptr));
        addMethod("open", new Handler(kept));
        addMethod("decline", new Handler(nullptr));
    }
};

TEST(TavixTemplateTest, handlersTakeCallsAndTheRestIsAnswered)
{
    ProxyWithPeer side;
    side.connect();
    auto ask = [&](std::string const& method) {
        return side.peer->ask(makeRequest(CallMethod, 7, "door", method));
    };
    std::vector<Service::Invocation> kept;
    auto door = std::make_unique<Door>(&kept);
    EXPECT_EQ(PROXY_CONNECTION_ERROR, door->startShare(nullptr));
    EXPECT_EQ(PROXY_OBJECT_NOT_FOUND, door->stopShare());
    EXPECT_EQ(PROXY_OK, door->startShare(side.proxy.get()));
    EXPECT_EQ("addSharedObject 1 door. null", side.peer->hear());
    EXPECT_EQ(PROXY_OBJECT_ALREADY_EXISTS, door->startShare(nullptr));

    for (std::string const& unknown :
         {std::string("decline"), std::string("close"), std::string("open\0", 5)})
        EXPECT_EQ("7: !-1 Unknown method name", ask(unknown));
    EXPECT_EQ("7: {\"methods\":{\"decline\":1,\"generateInterfaceDescription\":"
              "{\"description\":\"Generate a basic API description for this object.\"},\"open\":1}}",
              ask("generateInterfaceDescription"));
    side.peer->send(makeRequest(CallMethod, 8, "door", "open"));
    EXPECT_TRUE(side.peer->isQuiet());
    IntegerElem answer(5);
    kept.at(0)->respond(&answer);
    EXPECT_EQ("8: 5", side.peer->hear());

    EXPECT_EQ(PROXY_OK, door->stopShare());
    EXPECT_EQ(PROXY_OK, door->startShare(side.proxy.get()));
    EXPECT_EQ("removeSharedObject 2 door. null", side.peer->hear());
    EXPECT_EQ("addSharedObject 3 door. null", side.peer->hear());
    side.peer->send(makeRequest(CallMethod, 9, "door", "open"));
    EXPECT_TRUE(side.peer->isQuiet());
    door.reset();
    EXPECT_EQ("removeSharedObject 4 door. null", side.peer->hear());
    EXPECT_EQ("9: !2 Object disappeared", side.peer->hear());

    // One that goes while there is no connection leaves no entry behind.
    door = std::make_unique<Door>(&kept);
    EXPECT_EQ(PROXY_OK, door->startShare(side.proxy.get()));
    side.peer.reset();
    side.settle();
    EXPECT_EQ(PROXY_CONNECTION_ERROR, door->stopShare());
    door.reset();
    side.connect();
    EXPECT_EQ("7: !4 Object not found", ask("open"));
}

} // namespace
