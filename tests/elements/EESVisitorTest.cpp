#include "tavix/elements/EESVisitor.h"

#include "elements/SampleTrees.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Tavix;
using namespace SampleTrees;
using namespace std::string_literals;

// The bytes of a value on the wire: what stands behind "result".
std::string encoded(Tree const& tree)
{
    std::size_t const empty = response(nullptr).size();
    return response(tree.get()).substr(empty);
}

template <class Kind, class... Arguments>
std::string encodedAs(Arguments... arguments)
{
    return encoded(std::make_unique<Kind>(arguments...));
}

TEST(EESVisitor, WritesAResponseByteForByte)
{
    IntegerElem seven(7);
    EXPECT_EQ(response(&seven), "\0\0\0\x4A#$\x01\x02\0\0\0\x05\x01\0\0\0\0"
                                "\x01\0\0\x04\0\0\0\x35"
                                "\x0D\x01\0\0\0\x0BmessageType"
                                "\x0D\x01\0\0\0\x08response"
                                "\x0D\x01\0\0\0\x06result"
                                "\x0A\x01\0\0\0\x04\0\0\0\x07"s);
}

TEST(EESVisitor, WritesTheEntriesOfEachTypeOfMessage)
{
    auto const entries = [](std::initializer_list<char const*> texts) {
        std::string all;
        for (char const* each : texts)
            all += text(each);
        return all;
    };
    auto const head = [&](char const* messageType, char const* rule) {
        return entries({"messageType", messageType, "systemRule", rule});
    };
    struct Form {
        int type;
        unsigned count;
        std::string entries;
    };
    std::string const clock = text("objName") + text("clock");
    std::string const identity = text("identity") + text("me");
    Form const forms[] = {
        {CallMethod, 11,
         head("method", "callMethod") + clock + identity + entries({"method", "tick", "params"})},
        {CallVoidMethod, 11,
         head("method", "callVoidMethod") + clock + identity + entries({"method", "tick", "params"})},
        {AddObserver, 8, head("method", "addObserver") + clock + entries({"event", "tick"})},
        {RemoveObserver, 8, head("method", "removeObserver") + clock + entries({"event", "tick"})},
        {AddSharedObject, 8, head("method", "addSharedObject") + clock + entries({"", "tick"})},
        {RemoveSharedObject, 8, head("method", "removeSharedObject") + clock + entries({"", "tick"})},
        {Event, 11, head("method", "event") + clock + identity + entries({"event", "tick", "data"})},
        {BackChannel, 7, head("backChannel", "backChannel") + clock + entries({"params"})},
        {2, 6, head("method", "") + clock},
    };
    NullElem null;
    for (Form const& form : forms) {
        auto const start = [&](EESVisitor& visitor) {
            visitor.startMessage(form.type, 9, "clock", "tick", "me");
        };
        EXPECT_EQ(message(start, nullptr).substr(kHeaderLength),
                  container(kNodeMap, form.count, form.entries));
        EXPECT_EQ(message(start, nullptr)[kOffsetMessageType], form.type);
        EXPECT_EQ(message(start, &null).substr(kHeaderLength),
                  container(kNodeMap, form.count + 1, form.entries + value(kNodeNull, "")));
    }
}

TEST(EESVisitor, WritesEachKindOfValue)
{
    EXPECT_EQ(encodedAs<IntegerElem>(-1), value(10, "\xFF\xFF\xFF\xFF"));
    EXPECT_EQ(encodedAs<BooleanElem>(true), value(11, "\x01"));
    EXPECT_EQ(encodedAs<DoubleElem>(1.5), value(12, "1.500000"));
    EXPECT_EQ(encodedAs<DoubleElem>(1e30), value(12, "10000000000000000198846"));
    EXPECT_EQ(encodedAs<StringElem>("a\0b"s), value(13, "a\0b"s));
    EXPECT_EQ(encodedAs<NullElem>(), value(14, ""));
    EXPECT_EQ(encodedAs<BinaryElem>(static_cast<unsigned char*>(nullptr), 3u), value(16, ""));
    EXPECT_EQ(encodedAs<ExceptionElem>("a\0b"s, -7), value(18, "-7:a"));
    EXPECT_EQ(encodedAs<ListElem>(), "\0\0\0\0\0\0\0\0"s);
    EXPECT_EQ(encodedAs<MapElem>(), "\x01\0\0\0\0\0\0\0"s);
    EXPECT_EQ(encodedAs<FileDescriptorElem>(3, "h"s, "p"s, "e"s),
              container(3, 4, text("h") + text("p") + text("e") + value(10, "\0\0\0\x03"s)));

    auto list = std::make_unique<ListElem>();
    list->add(static_cast<Element*>(nullptr))->add("x");
    EXPECT_EQ(encoded(std::move(list)), container(0, 2, value(14, "") + text("x")));
    auto map = std::make_unique<MapElem>();
    map->addChild("b", nullptr);
    map->addChild("a", new StringElem("x"));
    EXPECT_EQ(encoded(std::move(map)), container(1, 4, text("a") + text("x") + text("b") + value(14, "")));
}

TEST(EESVisitor, WritesDoublesAsPrintfDoes)
{
    std::mt19937_64 source(3);
    for (int i = 0; i < 20000; ++i) {
        // Any bits, also of infinities and of what is no number; then numbers of everyday size.
        std::uint64_t const bits = source();
        double number;
        memcpy(&number, &bits, sizeof number);
        if (i % 2 == 0)
            number = static_cast<double>(static_cast<std::int64_t>(bits)) / 3e12;
        char expected[24];
        snprintf(expected, sizeof expected, "%f", number);
        ASSERT_EQ(encodedAs<DoubleElem>(number), value(12, expected));
    }
}

TEST(EESVisitor, GrowsWithoutLosingItsPlace)
{
    // Every length around those at which a buffer is full.
    for (unsigned const full : {4000u, 16848u, 33696u, 67392u})
        for (std::size_t size = full - 100; size < full + 10; ++size)
            ASSERT_EQ(encodedAs<StringElem>(std::string(size, 'x')), text(std::string(size, 'x')));

    auto list = std::make_unique<ListElem>();
    std::string expected;
    for (std::size_t const size : {1, 16700, 16, 200000, 3, 9000}) {
        expected += text(std::string(size, 'y'));
        list->add(std::string(size, 'y'));
    }
    Tree const tree(std::move(list));
    EXPECT_EQ(encoded(tree), container(kNodeList, 6, expected));
    // The bytes are the same when large values are shared instead of copied.
    auto const sharing = [](EESVisitor& visitor) {
        visitor.startMessage(Response, 5);
        visitor.shareLargeValues();
    };
    EXPECT_EQ(message(sharing, Tree(tree->clone()).get()), response(tree.get()));
}

TEST(EESVisitor, KeepsACloneOfEachDescriptorAndTheReplyAddress)
{
    Tree const tree = everyKind();
    EESVisitor visitor;
    visitor.setReplyClientId(1);
    tree->accept(&visitor);
    EXPECT_EQ(visitor.getError(), "message: no message was started");
    visitor.startMessage(Response, 1);
    visitor.setReplyClientId(0x01020304);
    tree->accept(&visitor);
    EXPECT_EQ(visitor.fileDescriptors.getNumChildren(), 2);
    EXPECT_EQ(visitor.fileDescriptors.getChild(0)->toString(), tree->getChild("descriptor")->toString());
    char* out;
    ASSERT_GT(visitor.encode(&out), 0);
    EXPECT_EQ(std::string(out + kOffsetReplyClientId, 4), "\x01\x02\x03\x04");
    free(out);
    EXPECT_EQ(visitor.encode(&out), 0);
    EXPECT_EQ(out, nullptr);
}

// The error of a call with this value, which must leave nothing to send.
std::string refusal(Tree const& tree, unsigned memoryLimit = 0)
{
    EESVisitor visitor;
    visitor.setMemoryLimit(memoryLimit);
    visitor.startMessage(CallMethod, 1, "clock", "now");
    tree->accept(&visitor);
    char* out;
    EXPECT_EQ(visitor.failed(), visitor.encode(&out) == 0);
    EXPECT_EQ(visitor.failed(), out == nullptr);
    free(out);
    return visitor.getError();
}

template <class Container, class Add>
Tree filled(unsigned count, Add const& add)
{
    auto container = std::make_unique<Container>();
    for (unsigned i = 0; i < count; ++i)
        add(*container, i);
    return container;
}

TEST(EESVisitor, NamesThePlaceOfWhatItRefuses)
{
    auto const addNull = [](ListElem& list, unsigned) { list.add(new NullElem); };
    EXPECT_EQ(refusal(filled<ListElem>(65535, addNull)), "");
    EXPECT_EQ(refusal(filled<ListElem>(65536, addNull)),
              "\"params\": 65536 children, a list carries at most 65535");
    auto const addEntry = [](MapElem& map, unsigned i) { map.addChild(i, new NullElem); };
    EXPECT_EQ(refusal(filled<MapElem>(32767, addEntry)), "");
    EXPECT_EQ(refusal(filled<MapElem>(32768, addEntry)),
              "\"params\": 32768 entries, a map carries at most 32767");

    auto map = std::make_unique<MapElem>();
    auto* const list = new ListElem;
    map->addChild("a\"\n" + std::string(80, 'k'), list);
    auto* const inner = new MapElem;
    inner->addChild("", new NullElem);
    list->add(1)->add(inner);
    EXPECT_EQ(refusal(std::move(map)),
              "\"params\"/\"a\\x22\\x0A" + std::string(61, 'k') + "...\"/1: a key of the map is empty");
}

TEST(EESVisitor, RefusesWhatPassesTheMemoryLimit)
{
    auto list = std::make_unique<ListElem>();
    list->add("fits")->add(std::string(20000, 'x'));
    Tree const tree(std::move(list));
    EXPECT_EQ(refusal(tree, 2 * 16848), "");
    EXPECT_EQ(refusal(tree, 2 * 16848 - 1),
              "\"params\"/1: the message needs more than the memory limit of 33695 bytes");
}

} // namespace
