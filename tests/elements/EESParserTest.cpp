#include "tavix/elements/EESParser.h"

#include "elements/SampleTrees.h"
#include "tavix/elements/EESPeekParser.h"

#include <gtest/gtest.h>

namespace {

using namespace Tavix;
using namespace SampleTrees;
using namespace std::string_literals;

Tree read(std::string const& block, unsigned version = 2)
{
    std::vector<unsigned char> const exact(block.begin(), block.end());
    return Tree(EESParser::readContainer(exact.data(), static_cast<unsigned>(exact.size()), 0, version));
}

std::string described(std::string const& block)
{
    return describe(read(block).get());
}

std::string list(unsigned count, std::string const& children)
{
    return container(kNodeList, count, children);
}

std::string map(unsigned count, std::string const& children)
{
    return container(kNodeMap, count, children);
}

std::string integer(std::string const& bytes)
{
    return value(kNodeInteger, bytes);
}

TEST(EESParser, ReadsWhatTheEncoderWrites)
{
    for (unsigned seed = 0; seed < 300; ++seed) {
        Tree const tree = random(seed);
        std::string const sent = call(tree.get());
        Tree const root = parsed(sent);
        ASSERT_EQ(describe(root->getChild("params")), describe(tree.get())) << seed;
        ASSERT_EQ(call(root->getChild("params")), sent) << seed;
    }
}

TEST(EESParser, ReadsOnlyKnownVersions)
{
    EXPECT_EQ(describe(read(text("x"), 1).get()), "-1.000000: x");
    EXPECT_EQ(read(text("x"), 0), nullptr);
    EXPECT_EQ(read(text("x"), 3), nullptr);
}

TEST(EESParser, ReadsTheOddFormsOfValues)
{
    std::pair<std::string, std::string> const forms[] = {
        {integer("\xFF\xFF"), "65535.000000:i 65535"},
        {integer("\x80"), "128.000000:i 128"},
        {value(11, "\0\0\0\x02"s), "-1.000000:b true"},
        {value(12, "1e3"), "1000.000000:d 1000.000000"},
        {value(12, " +0x10 "), "16.000000:d 16.000000"},
        {value(12, ""), "0.000000:d 0.000000"},
        {value(18, "7:a:b"), "-1.000000:x 7:a:b"},
        {value(18, "nocolon"), "-1.000000:x 0:"},
        {value(18, "x:y"), "-1.000000:x 0:y"},
        {value(30, "old"), "-1.000000: old"},
        {list(2, value(14, "skipped") + text("x")), "List[0=-1.000000:null,1=-1.000000: x,]"},
        // A name that is no string uses up one count and two bytes: the rest is read as it then lies.
        {map(3, "\x0A\x01"s + text("a") + text("x")), "Map[a=-1.000000: x,]"},
        {map(4, text("b") + text("1") + text("b") + text("2")), "Map[b=-1.000000: 2,]"},
        {map(4, text("") + text("a") + text("1") + text("odd")), "Map[a=-1.000000: 1,]"},
        {container(3, 0, text("h") + text("p") + text("e") + integer("\x05")),
         "5.000000:fd 5:host h:pid p:exe e"},
    };
    for (auto const& [block, expected] : forms)
        EXPECT_EQ(described(block), expected);
}

TEST(EESParser, ReportsUnknownNodesAndShowsTheBlockOnce)
{
    std::string const block = list(4, value(40, "ab") + container(9, 0, "") + integer("abc") + text("x"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(described(block), "List[0=0.000000:i 0,1=-1.000000: x,]");
    fflush(stdout);
    std::string const printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "!!!EEESParser -  Unknown Terminal ID : 40\n"
                       "00 00 00 04 00 00 00 20 28 01 00 00 00 02 61 62 \n"
                       "09 00 00 00 00 00 00 00 0A 01 00 00 00 03 61 62 \n"
                       "63 0D 01 00 00 00 01 78 \n"
                       "!!!EEESParser -  Unknown Terminal ID : 9\r\n"
                       "!!EESParser: IntegerElem Length not Supported : 3\r\n");
}

TEST(EESParser, DeliversNoValueThatRunsPastTheBlock)
{
    for (int const id : {12, 13, 16, 18, 30}) {
        std::string whole = map(4, text("a") + text("1") + text("b") + value(id, "12345"));
        whole.pop_back();
        EXPECT_EQ(described(whole), "Map[a=-1.000000: 1,]") << id;
    }
    // A length of 2^32 - 1 must not wrap round.
    EXPECT_EQ(described(list(1, "\x0D\x01\xFF\xFF\xFF\xFFxy"s)), "List[]");
    // A fixed field that is not there reads as 0.
    EXPECT_EQ(described(list(1, "\x0A\x01\0\0\0\x04\x01\x01"s)), "List[0=0.000000:i 0,]");
}

TEST(EESParser, CountsSurplusNodes)
{
    EXPECT_EQ(described(list(3, text("x"))), "List[0=-1.000000: x,1=List[],2=List[],]");
    EXPECT_EQ(described(map(6, text("a") + text("x"))), "Map[a=-1.000000: x,]");
    EXPECT_EQ(read(list(65535, ""))->getNumChildren(), 65535);
    EXPECT_EQ(read(list(65535, list(65535, ""))), nullptr);
    // Lists in lists that all claim the most: refused at once, not after billions of nodes.
    std::string block;
    for (unsigned level = 0; level < kMaxNesting; ++level)
        block = list(65535, block);
    EXPECT_EQ(read(block), nullptr);
}

TEST(EESParser, AddsToAnyContainer)
{
    std::string const node = text("x");
    EESParser::EncodedBlockInfo info;
    info.data = reinterpret_cast<unsigned char const*>(node.data());
    info.end = static_cast<unsigned>(node.size());
    MapElem map;
    EESParser::recurseNodeVersion1(&info, &map, "name");
    EXPECT_EQ(describe(&map), "Map[name=-1.000000: x,]");
    FileDescriptorElem descriptor(1, "h", "p", "e");
    info.position = 0;
    EESParser::recurseNodeVersion1(&info, &descriptor, "exe");
    EXPECT_EQ(descriptor.exe(), "x");
    EXPECT_EQ(EESParser::readValue(&info, 3), 0u);
    EXPECT_EQ(info.status, 1);
}

using Fields = std::map<std::string, std::string>;

Fields peeked(std::string const& message)
{
    Fields fields;
    EESPeekParser::readContainer(reinterpret_cast<unsigned char const*>(message.data()) + kSizeFieldLength,
                                 static_cast<unsigned>(message.size()) - kSizeFieldLength, kParsePosition,
                                 fields);
    return fields;
}

TEST(EESPeekParser, ReadsTheTopLevelOnly)
{
    Fields const routing = {{"messageType", "method"}, {"systemRule", "callMethod"},
                            {"objName", "clock"},      {"identity", "me"},
                            {"method", "now"},         {"params", ""}};
    Tree const tree = everyKind();
    EXPECT_EQ(peeked(call(tree.get())), routing);
    // The key in the last place has no value and is there all the same.
    EXPECT_EQ(peeked(call(nullptr)), routing);
    EXPECT_EQ(peeked(response(tree->getChild("failure"))),
              (Fields{{"messageType", "response"}, {"result", "5:no such: object"}}));
    // What a text that claims too much runs over is not taken for fields.
    std::string const lying = text("objName") + "\x0D\x01\xFF\xFF\xFF\xFF"s + text("method") + text("evil");
    EXPECT_EQ(peeked(std::string(kHeaderLength, '\0') + map(6, lying)), (Fields{{"objName", ""}}));
}

} // namespace

// Only a call as encoders write it may be decoded from its parameters on; anything else the tree reader would see
// differently.
TEST(EESPeekParser, KnowsACallThatIsRegular)
{
    auto const peek = [](std::string const& text) {
        RoutingFields fields;
        EESPeekParser::readRoutingFields(
            reinterpret_cast<unsigned char const*>(text.data()) + kSizeFieldLength,
            static_cast<unsigned>(text.size()) - kSizeFieldLength, kParsePosition, fields, true);
        return fields;
    };
    IntegerElem seven(7);
    std::string const regular = SampleTrees::call(&seven);
    RoutingFields const fields = peek(regular);
    EXPECT_TRUE(fields.regular);
    SampleTrees::Tree const params(
        EESParser::readContainer(reinterpret_cast<unsigned char const*>(regular.data()) + kSizeFieldLength,
                                 static_cast<unsigned>(regular.size()) - kSizeFieldLength,
                                 fields.valuePosition, kFormatVersion, nullptr, 1));
    ASSERT_TRUE(params);
    EXPECT_EQ(7, params->intValue());

    std::string const value(regular.substr(fields.valuePosition + kSizeFieldLength));
    std::string counted = regular; // the last name has no value by the count, though bytes follow
    --counted[kHeaderLength + 3];
    EXPECT_FALSE(peek(counted).regular);
    std::string followed = regular + std::string("\x0D\1\0\0\0\1x", 7) + value;
    followed[kHeaderLength + 3] += 2;
    EXPECT_FALSE(peek(followed).regular);
    EXPECT_FALSE(peek(SampleTrees::call(nullptr)).regular);
}
