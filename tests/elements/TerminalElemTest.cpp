#include "elements/SampleTrees.h"
#include "tavix/SvcErr.h"
#include "tavix/elements/ElementText.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

namespace {

using namespace Tavix;
using namespace std::string_literals;

std::shared_ptr<Element> bytes(std::string const& content)
{
    TvxResult result;
    return std::make_shared<BinaryElem>(reinterpret_cast<unsigned char const*>(content.data()),
                                        static_cast<unsigned>(content.size()), result);
}

// What a node answers to each accessor; a result code stands beside the value it came with. The short form begins
// with `mark` and the text.
struct Answers {
    std::shared_ptr<Element> e;
    char const* type;
    std::string mark;
    std::string text;
    int integer;
    bool boolean;
    std::pair<int, int> intResult;
    std::pair<double, int> doubleResult;
};

template <class Kind, class... Arguments>
std::shared_ptr<Element> make(Arguments... arguments)
{
    return std::make_shared<Kind>(arguments...);
}

std::vector<Answers> answersOfEveryKind()
{
    auto const none = std::pair(-1.0, 1);
    auto const zero = std::pair(0.0, 1);
    double const big = 2147483648.0;
    auto const descriptor = make<FileDescriptorElem>(5, "box", "/proc/412", "/bin/a");
    return {
        {make<IntegerElem>(-42), "IntegerElem", ":i ", "-42", -42, true, {-42, 0}, {-42.0, 0}},
        {make<BooleanElem>(true), "BooleanElem", ":b ", "true", 1, true, {1, 0}, none},
        {make<BooleanElem>(false), "BooleanElem", ":b ", "false", 0, false, {0, 0}, none},
        {make<DoubleElem>(-1.75), "DoubleElem", ":d ", "-1.750000", -1, false, {-1, 0}, {-1.75, 0}},
        {make<DoubleElem>(16777217.0),
         "DoubleElem",
         ":d ",
         "16777216.000000",
         -1,
         false,
         {16777217, 0},
         {16777217.0, 0}},
        {make<DoubleElem>(big), "DoubleElem", ":d ", "2147483648.000000", -1, false, {-1, 1}, {big, 0}},
        {make<StringElem>("0x10"), "StringElem", ": ", "0x10", 16, true, {16, 0}, none},
        {make<StringElem>("010"), "StringElem", ": ", "010", 8, true, {8, 0}, none},
        {make<StringElem>("12abc"), "StringElem", ": ", "12abc", 0, false, {-1, 1}, none},
        {make<StringElem>("4294967298"), "StringElem", ": ", "4294967298", 2, true, {2, 0}, none},
        {make<StringElem>("7\0"s), "StringElem", ": ", "7\0"s, 0, true, {-1, 1}, none},
        {make<StringElem>(""), "StringElem", ": ", "", 0, false, {0, 0}, none},
        {bytes("\xFE"), "BinaryElem", ":bi ", "\xFE", -1, false, {254, 0}, zero},
        {bytes("\xFF\xFF"), "BinaryElem", ":bi ", "\xFF\xFF", -1, false, {65535, 0}, zero},
        {bytes("\0\0\xC0\x3F"s), "BinaryElem", ":bi ", "\0\0\xC0\x3F"s, -1, false, {0x3FC00000, 0}, {1.5, 0}},
        {bytes("\0\0\0\0\0\0\0@"s), "BinaryElem", ":bi ", "\0\0\0\0\0\0\0@"s, -1, false, {-1, 1}, {2.0, 0}},
        {bytes("abc"), "BinaryElem", ":bi ", "abc", -1, false, {-1, 1}, zero},
        {make<NullElem>(), "NullElem", ":null", "", -1, false, {-1, 0}, none},
        {make<ExceptionElem>("x", 7), "TerminalElem", ":x 7:", "x", 7, false, {7, 0}, none},
        {descriptor, "FileDescriptorElem", ":fd ", "5", 5, true, {5, 0}, {5.0, 0}},
        {make<ListElem>(), "ListElem", "List", "", -1, false, {-1, 0}, none},
        {make<MapElem>(), "MapElem", "Map", "", -1, false, {-1, 0}, none},
    };
}

void expectAnswers(Element const& e, Answers const& expected)
{
    SCOPED_TRACE(e.toString());
    TvxResult result = OPERATION_FAILED_OUT_OF_MEMORY;
    EXPECT_TRUE(e.instanceOf(expected.type));
    EXPECT_EQ(e.stringValue(), expected.text);
    EXPECT_EQ(e.stringValue(result), expected.text);
    EXPECT_EQ(result, OPERATION_OK);
    EXPECT_EQ(e.intValue(), expected.integer);
    EXPECT_EQ(e.booleanValue(), expected.boolean);
    EXPECT_EQ(e.doubleValue(), expected.doubleResult.first);
    EXPECT_EQ(e.intValue(result), expected.intResult.first);
    EXPECT_EQ(result, expected.intResult.second);
    EXPECT_EQ(e.doubleValue(result), expected.doubleResult.first);
    EXPECT_EQ(result, expected.doubleResult.second);
    EXPECT_EQ(e.toString().find(expected.mark + expected.text), 0u);
}

TEST(TerminalElem, AnswersEveryAccessorAndSoDoesItsClone)
{
    for (Answers const& answers : answersOfEveryKind()) {
        expectAnswers(*answers.e, answers);
        std::unique_ptr<Element> const copy(answers.e->clone());
        expectAnswers(*copy, answers);
    }
}

TEST(TerminalElem, KnowsItsPlaceInTheClassTree)
{
    ExceptionElem const failure("x", 7);
    EXPECT_TRUE(failure.isException());
    EXPECT_FALSE(failure.instanceOf("ExceptionElem"));
    FileDescriptorElem const descriptor(5, "box", "/proc/412", "/bin/a");
    for (char const* base : {"IntegerElem", "TerminalElem", "Element"})
        EXPECT_FALSE(descriptor.instanceOf(base)) << base;
    EXPECT_TRUE(NullElem().instanceOf("Element"));
    EXPECT_FALSE(NullElem().instanceOf(IntegerElem::_type));
    EXPECT_TRUE(ListElem().instanceOf("NonterminalElem"));
    EXPECT_FALSE(ListElem().isMap());
    EXPECT_TRUE(MapElem().isMap());
}

// Short, long and shared texts are kept differently.
TEST(StringElem, KeepsTextsOfEveryLengthThroughChangesAndSharing)
{
    StringElem element("");
    for (std::size_t before : {0, 39, 40, 9000}) {
        for (std::size_t length : {0, 1, 39, 40, 8191, 8192}) {
            std::string const text(length, 'x');
            SharedBytes const kept = element.share();
            EXPECT_EQ(kept.view(), element.text());
            element.setValue(std::string(before, 'b'));
            std::unique_ptr<Element> const clone(element.clone());
            element.setValue(text);
            EXPECT_EQ(element.text(), text);
            EXPECT_EQ(StringElem(std::string(text)).stringValue(), text);
            EXPECT_EQ(clone->stringValue(), std::string(before, 'b'));
            EXPECT_EQ(element.share().view(), text);
            EXPECT_EQ(element.stringValue(), text);
        }
    }
}

TEST(TerminalElem, TakesTheValuesOfItsKindOnly)
{
    StringElem text("before");
    // A literal is a text and not a truth value.
    EXPECT_TRUE(text.setValue("after") && !text.setValue(1) && !text.setValue(true));
    EXPECT_EQ(text.stringValue(), "after");
    IntegerElem integer(1);
    EXPECT_TRUE(!integer.setValue("2") && !integer.setValue(2.0));
    EXPECT_EQ(integer.intValue(), 1);
    ExceptionElem failure("x", 7);
    EXPECT_TRUE(failure.setValue(8) && failure.setValue("y"));
    EXPECT_EQ(failure.toString(), ":x 8:y");
}

TEST(TerminalElem, HasNoChildren)
{
    StringElem leaf("x");
    TvxResult result = OPERATION_OK;
    EXPECT_EQ(leaf.getChild(0), nullptr);
    EXPECT_FALSE(leaf.hasChild("x"));
    EXPECT_EQ(leaf.iterator(), nullptr);
    EXPECT_EQ(leaf.removeChild("x", result), nullptr);
    EXPECT_EQ(result, OPERATION_FAILED_NOT_SUPPORTED);
    EXPECT_EQ(leaf.removeChildren(), OPERATION_FAILED_NOT_SUPPORTED);
    EXPECT_EQ(leaf.getNumChildren(), -1);
    EXPECT_EQ(leaf.getChildName(&leaf), "");
}

TEST(TerminalElem, ReadsTextAsTruth)
{
    NullElem const any;
    for (char const* text : {"true", "Yes", "y", "2", "0x1", "-1", "1 x"})
        EXPECT_TRUE(any.toBoolean(text)) << text;
    for (char const* text : {"", "no", "0", "1x", "yess", "0 1"})
        EXPECT_FALSE(any.toBoolean(text)) << text;
}

TEST(ElementText, ReadsAndWritesNumbersAsPrintfAndScanfDo)
{
    for (char const* text : {"", " 12x", "+7", "-", "x1", "99999999999", "-2147483649", "1 2", "\n3"}) {
        int expected = 0;
        if (sscanf(text, "%d", &expected) < 1)
            expected = 0;
        EXPECT_EQ(StringToi(text), expected) << text;
    }
    for (float const number : {0.0f, -0.0f, 1.5f, -3.4e38f, 1e-7f, INFINITY, 16777216.0f}) {
        char expected[128];
        snprintf(expected, sizeof expected, "%f", static_cast<double>(number));
        EXPECT_EQ(fToString(number), expected);
    }
}

TEST(FileDescriptorElem, CompletesOnlyWhatIsEmpty)
{
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    FileDescriptorElem const own(3, "", "", "/bin/given");
    EXPECT_EQ(own.host(), host);
    EXPECT_EQ(own.pid(), "/proc/" + std::to_string(getpid()));
    EXPECT_EQ(own.exe(), "/bin/given");
    // The clone of one that came from elsewhere must not turn into ours.
    std::unique_ptr<FileDescriptorElem> const foreign(FileDescriptorElem::makeForeign(3, "", "", ""));
    std::unique_ptr<Element> const copy(foreign->clone());
    EXPECT_EQ(copy->toString(), ":fd 3:host :pid :exe ");
}

TEST(FileDescriptorElem, TakesMembersByName)
{
    FileDescriptorElem descriptor(-1, "a", "b", "c");
    StringElem text("new");
    IntegerElem number(7);
    descriptor.setMember("pid", &text);
    descriptor.setMember("anything", &number);
    EXPECT_EQ(descriptor.toString(), ":fd 7:host a:pid new:exe c");
}

TEST(TerminalElemDeathTest, StopsAtFaultsOfTheProgram)
{
    NullElem leaf;
    EXPECT_DEATH(leaf.addChild("x", new NullElem), "TerminalElem::addChild\\(\\)");
    EXPECT_DEATH(leaf.setChild(0, nullptr), "TerminalElem::setChild\\(\\)");
    EXPECT_DEATH(SvcErr("no %s", "way"), "Assertion `false' failed");
}

} // namespace
