// One client says what it should not, while a bystander's calls go on.
#include "system/SystemBus.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <random>

using namespace Tavix;

namespace {

class HostilePeer : public SystemBus {
protected:
    ~HostilePeer() override { bystanderIsServed(); }

    void bystanderIsServed()
    {
        EXPECT_EQ("0 5", call("clock", "echo", new IntegerElem(5)));
        EXPECT_EQ("0 [\"clock\",\"tvx\"]", call("tvx", "listObjects"));
    }

    RawClient peer = connect();
};

// A call whose parameters are `node`, which need not be one.
std::string callWith(char const* object, std::string const& node)
{
    const std::string call = makeRequest(CallMethod, 1, object, "echo", new NullElem);
    return makeFrame(1, 0, call.substr(kHeaderLength, call.size() - kHeaderLength - kValueHeadLength) + node);
}

std::string head(EESNodeId id, unsigned count, unsigned length)
{
    return std::string{static_cast<char>(id), 0} + bigEndian(count).substr(2) + bigEndian(length);
}

std::string value(EESNodeId id, unsigned length, std::string const& bytes)
{
    return std::string{static_cast<char>(id), 1} + bigEndian(length) + bytes;
}

TEST_F(HostilePeer, badSizeFieldEndsItsConnection)
{
    for (unsigned size :
         {0u, 1u, 12u, 0x30001u, 0x7fffffffu, 0x80000000u, 0xffffffffu, 0x47455420u /* GET */}) {
        EXPECT_EQ("end", peer.ask(bigEndian(size) + std::string(20, 'x'))) << size;
        peer = connect();
        bystanderIsServed();
    }
}

TEST_F(HostilePeer, garbageInFramesIsDropped)
{
    const std::string root = head(kNodeMap, 65535, 0xffffffff);
    std::mt19937 random(1);
    std::string garbage;
    for (int i = 0; i < 50; ++i) {
        peer.send(makeFrame(1, 0, garbage) + makeFrame(1, 0, root + garbage) +
                  makeFrame(1, 0, root + value(kNodeString, 0x7fffffff, garbage)));
        garbage += static_cast<char>(random());
    }
    EXPECT_EQ("7: 6", peer.ask(makeRequest(CallMethod, 7, "clock", "echo", new IntegerElem(6))));
}

// The bus does not look into parameters: the owner is the one that is lied to, and answers with what it could
// read, or that it could read nothing.
TEST_F(HostilePeer, liesAboutCountsAndLengthsAreAnswered)
{
    const std::string undecodable = "1: !-1 The call could not be decoded";
    std::string wideAndDeep;
    for (int level = 0; level < 100; ++level)
        wideAndDeep += head(kNodeList, 65535, 0xffffffff);
    struct {
        std::string node, answer;
    } const lies[] = {{wideAndDeep, undecodable},
                      {head(kNodeList, 65535, 0) + head(kNodeList, 65535, 0), undecodable},
                      {head(kNodeList, 3, 0), "1: [[],[],[]]"},
                      {head(kNodeMap, 65535, 0xffffffff), "1: {}"},
                      {head(kNodeFileDescriptor, 0, 7), "1: "},
                      {value(kNodeString, 0xffffffff, "text"), "1: "},
                      {value(kNodeBinary, 0x80000000, "bytes"), "1: "},
                      {value(kNodeInteger, 4, "i"), "1: "},
                      {"", "1: []"}};
    for (auto const& lie : lies) {
        EXPECT_EQ(lie.answer, peer.ask(callWith("clock", lie.node)).substr(0, lie.answer.size()));
        EXPECT_NE("end", peer.ask(callWith("tvx", lie.node)));
        bystanderIsServed();
    }
    EXPECT_EQ(undecodable, peer.ask(withDeepValue(callWith("tvx", value(kNodeNull, 0, "")))));
}

TEST_F(HostilePeer, halfAFrameStallsNobodyElse)
{
    const std::string call = makeRequest(CallMethod, 9, "clock", "echo", makeText(5000));
    std::vector<RawClient> stalled;
    for (size_t said : {size_t(1), size_t(4), size_t(17), call.size() - 1}) {
        stalled.push_back(connect());
        stalled.back().send(call.substr(0, said));
        bystanderIsServed();
    }
    EXPECT_EQ("9: \"xxx", stalled[3].ask(call.substr(call.size() - 1)).substr(0, 7));
    for (char byte : makeRequest(CallMethod, 9, "clock", "echo"))
        peer.send(std::string(1, byte));
    EXPECT_EQ("9: null", peer.hear());
}

TEST_F(HostilePeer, neverReadingAnswersHoldsUpNobodyElse)
{
    const std::string call = makeRequest(CallMethod, 9, "clock", "text", new IntegerElem(150000));
    for (int i = 0; i < 100; ++i)
        peer.send(call);
    bystanderIsServed();
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(150000u + 5, peer.hear().size());
    bystanderIsServed();
    peer.close(); // with answers queued
}

TEST_F(HostilePeer, neverReadingCallsHoldsUpTheirCallersOnly)
{
    EXPECT_EQ("1: null", peer.ask(makeRequest(AddSharedObject, 1, "sink")));
    RawClient caller = connect();
    for (int i = 0; i < 50; ++i)
        caller.send(makeRequest(CallMethod, 9, "sink", "put", makeText(150000)));
    EXPECT_EQ("7: 6", caller.ask(makeRequest(CallMethod, 7, "clock", "echo", new IntegerElem(6))));
    peer.close();
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ("9: !2 Object connection broken", caller.hear());
}

} // namespace
