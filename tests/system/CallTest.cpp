// Calls between processes, through the broker's process.
#include "system/SystemBus.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <algorithm>
#include <climits>

using namespace Tavix;

namespace {

const size_t kMaxFrame = 196608;

class Call : public SystemBus {
protected:
    // Starts processes with open calls to the owner.
    std::vector<Child> holdCalls(int callers, int calls)
    {
        std::vector<Child> started;
        for (int i = 0; i < callers; ++i)
            started.push_back(start({TAVIX_TEST_ROLE, "caller", "clock", "hold", std::to_string(calls)}));
        for (int i = 0; i < callers * calls; ++i)
            EXPECT_TRUE(owner->waitForLine("held"));
        return started;
    }
};

void expectReports(std::vector<Child> const& callers, int calls, std::string const& line)
{
    std::string expected;
    while (calls-- > 0)
        expected += line;
    for (Child const& caller : callers) {
        EXPECT_EQ(0, caller->waitForExit());
        EXPECT_EQ(expected, caller->readOutput());
    }
}

// Whether two trees are the same to the byte.
void expectSame(Element* expected, Element* actual)
{
    ASSERT_TRUE(actual);
    EXPECT_EQ(makeResponse(1, 0, expected->clone()), makeResponse(1, 0, actual->clone()));
}

MapElem* makeMap(std::initializer_list<std::pair<char const*, Element*>> entries)
{
    MapElem* map = new MapElem;
    for (auto const& entry : entries)
        map->addChild(entry.first, entry.second);
    return map;
}

MapElem* makeTree()
{
    static const unsigned char bytes[] = {0, 1, 0xff};
    TvxResult copied;
    ListElem* list = new ListElem;
    for (int number : {0, -1, INT_MAX, INT_MIN})
        list->add(number);
    list->add(new ExceptionElem("carried, not thrown", 42))->add(new ListElem)->add(new MapElem);
    return makeMap({{"list", list},
                    {"true", new BooleanElem(true)},
                    {"false", new BooleanElem(false)},
                    {"double", new DoubleElem(-1.5)},
                    {"text", new StringElem(std::string("z\xc3\xbcrich\0!", 9))},
                    {"long text", makeText(50000)},
                    {"bytes", new BinaryElem(bytes, sizeof bytes, copied)},
                    {"null", new NullElem},
                    {"deep", makeNested(120)}});
}

TEST_F(Call, carriesEveryKindOfValue)
{
    std::unique_ptr<MapElem> tree(makeTree());
    for (auto const& entry : *tree)
        expectSame(entry.second, ask("clock", "echo", entry.second->clone()).get());
    expectSame(tree.get(), ask("clock", "later", tree->clone()).get());
    EXPECT_EQ("0 null", call("clock", "echo"));
    EXPECT_EQ("9 !9 thrown", call("clock", "echo", new ExceptionElem("thrown", 9)));

    FileDescriptorElem descriptor(7, "host", "pid", "exe");
    expectSame(&descriptor, ask("clock", "descriptor", new IntegerElem(7)).get());
}

// The clock asks a door, which asks the clock while that still waits.
TEST_F(Call, nestsInHandlers)
{
    Child door = startOwner("door");
    auto via = [](char const* object, char const* method, Element* params) {
        return makeMap(
            {{"object", new StringElem(object)}, {"method", new StringElem(method)}, {"params", params}});
    };
    std::unique_ptr<MapElem> tree(makeTree());
    expectSame(tree.get(), ask("clock", "via", via("door", "via", via("clock", "later", makeTree()))).get());
    EXPECT_EQ("4 !4 Object not found", call("door", "via", via("nobody", "now", new NullElem)));
}

TEST_F(Call, lateAnswersComeToTheirRequests)
{
    std::vector<int> numbers(200);
    for (int& number : numbers) {
        number = static_cast<int>(&number - numbers.data());
        IntegerElem params(number);
        auto check = [](ResponseData const* response, void* asked) {
            EXPECT_EQ(*static_cast<int*>(asked), response->map->getChild("result")->intValue());
            *static_cast<int*>(asked) = -1;
        };
        proxy.callMethodAsync("clock", number % 3 ? "later" : "echo", &params, check, &number);
    }
    while (*std::max_element(numbers.begin(), numbers.end()) >= 0)
        loop->iterate();
}

TEST_F(Call, equalMessageIdsOfTwoCallersStayApart)
{
    RawClient callers[] = {connect(), connect()};
    for (int round = 0; round < 20; ++round) {
        for (int i : {0, 1})
            callers[i].send(makeRequest(CallMethod, 7, "clock", "later", new IntegerElem(i)));
        EXPECT_EQ("7: 0", callers[0].hear());
        EXPECT_EQ("7: 1", callers[1].hear());
    }
}

TEST_F(Call, deathOfTheOwnerEndsEachOfAHundredCallsOnce)
{
    std::vector<Child> callers = holdCalls(4, 25);
    owner->signal(SIGKILL);
    ownersEnd = 128 + SIGKILL;
    expectReports(callers, 25, "2 Object connection broken\n");
    EXPECT_EQ("4 !4 Object not found", call("clock", "echo"));
}

TEST_F(Call, deathOfTheBrokerReturnsEveryBlockedCaller)
{
    std::vector<Child> callers = holdCalls(3, 4);
    bus->signal(SIGKILL);
    busesEnd = 128 + SIGKILL;
    expectReports(callers, 4, "2 Connection broken\n");
    call("clock", "echo");
    EXPECT_EQ("2 nothing", call("clock", "echo"));
}

TEST_F(Call, largestRequestAndResponsePassAndOneByteMoreIsRefused)
{
    const size_t request = makeRequest(CallMethod, 1, "clock", "hold", makeText(0)).size();
    const int response = static_cast<int>(kMaxFrame - makeResponse(1, 1, makeText(0)).size());
    RawClient raw = connect(); // no response could carry this back
    raw.send(makeRequest(CallMethod, 1, "clock", "hold", makeText(kMaxFrame - request)));
    EXPECT_TRUE(owner->waitForLine("held"));
    EXPECT_EQ("11 nothing", call("clock", "echo", makeText(kMaxFrame - request + 1)));
    EXPECT_EQ(static_cast<size_t>(response),
              ask("clock", "text", new IntegerElem(response))->stringValue().size());
    EXPECT_EQ("10 !-1 Message too large", call("clock", "text", new IntegerElem(response + 1)));
    EXPECT_EQ("0 5", call("clock", "echo", new IntegerElem(5)));
}

} // namespace
