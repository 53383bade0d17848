#include "elements/SampleTrees.h"
#include "support/SilentOutput.h"
#include "tavix/elements/XMLParser.h"
#include "tavix/elements/XMLVisitor.h"
#include "tavix/foundation/ByteArrayInputStream.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace Tavix;
using namespace SampleTrees;
using namespace std::string_literals;

std::string const kProlog = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

Element* bytes(std::string const& content)
{
    TvxResult result;
    return new BinaryElem(reinterpret_cast<unsigned char const*>(content.data()),
                          static_cast<unsigned>(content.size()), result);
}

std::string written(Element* element)
{
    Tree const owner(element);
    XMLVisitor writer;
    element->accept(&writer);
    return writer.getResult();
}

TEST(XMLVisitor, WritesEachKindUnderItsTag)
{
    auto const expectForm = [](Element* element, std::string const& form) {
        EXPECT_EQ(written(element), kProlog + "\n" + form);
    };
    expectForm(new IntegerElem(-2147483647 - 1), "<IntegerElem>-2147483648</IntegerElem>");
    expectForm(new DoubleElem(1e300), "<DoubleElem>10000000000000000525047</DoubleElem>");
    expectForm(new StringElem("<a href=\"b\">'&amp;'</a>\0 no more"s),
               "<StringElem>&lt;a href=&quot;b&quot;&gt;&apos;&amp;amp;&apos;&lt;/a&gt;</StringElem>");
    expectForm(bytes("Man"), "<BinaryElem>TWFu</BinaryElem>");
    expectForm(bytes("\xFB"), "<BinaryElem>+w==</BinaryElem>");
    expectForm(bytes(""), "<BinaryElem></BinaryElem>");
    expectForm(new ExceptionElem("<no>", -5), "<ExceptionElem value=\"-5\">&lt;no&gt;</ExceptionElem>");
    expectForm(new ListElem, "<ListElem>\n</ListElem>");
    auto* const map = new MapElem;
    map->put("b", new BooleanElem(true));
    map->put(std::string(500, '"'), nullptr);
    std::string name;
    for (int i = 0; i < 500; ++i)
        name += "&quot;";
    expectForm(map, "<MapElem>\n<child name=\"" + name +
                        "\">\n<NullElem/></child>\n<child "
                        "name=\"b\">\n<BooleanElem>true</BooleanElem></child>\n</MapElem>");
}

TEST(XMLVisitor, AppendsToAnyTextAndHandsOutABlock)
{
    std::string text = "before ";
    XMLVisitor writer(text);
    IntegerElem(1).accept(&writer);
    IntegerElem(2).accept(&writer);
    std::string const expected =
        "before " + kProlog + "\n<IntegerElem>1</IntegerElem>\n<IntegerElem>2</IntegerElem>";
    EXPECT_EQ(text, expected);
    EXPECT_EQ(writer.getResult(), expected);
    char* block;
    int const length = writer.encode(&block);
    EXPECT_EQ(std::string(block, static_cast<std::size_t>(length)), expected);
    free(block);
}

// What a parse left: the tree as text, and what it said on either stream.
struct Outcome {
    std::string tree;
    std::string complaint;
    std::string output;
};

Outcome readDocument(std::string const& document, XMLParser& reader)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    Tree const tree(reader.parse_raw(document.data(), static_cast<int>(document.size())));
    return {describe(tree.get()), testing::internal::GetCapturedStderr(),
            testing::internal::GetCapturedStdout()};
}

TEST(XMLParser, TakesWhatItKnowsAndDropsTheRest)
{
    struct {
        char const* document;
        Tree tree;
    } const cases[] = {
        {"<MapElem/>", std::make_unique<MapElem>()},
        {"<IntegerElem> \n 12abc</IntegerElem>", std::make_unique<IntegerElem>(12)},
        {"<IntegerElem>none</IntegerElem>", std::make_unique<IntegerElem>(0)},
        {"<DoubleElem> 0x10 </DoubleElem>", std::make_unique<DoubleElem>(16)},
        {"<BooleanElem>Yes</BooleanElem>", std::make_unique<BooleanElem>(true)},
        {"<StringElem>a<IntegerElem>1</IntegerElem>&#98;<![CDATA[<c>]]></StringElem>",
         std::make_unique<StringElem>("ab<c>")},
        {"<ExceptionElem>none</ExceptionElem>", std::make_unique<ExceptionElem>("none", 0)},
        {"<ExceptionElem a='1' value='7x'>some</ExceptionElem>", std::make_unique<ExceptionElem>("some", 7)},
        {"<child name='root'><NullElem/></child>", std::make_unique<NullElem>()},
        {"<BinaryElem>TWFu\n\xC3\xA9 TW*E=TWFu</BinaryElem>", Tree(bytes("ManMa"))},
        {"<BinaryElem>TWFuTW</BinaryElem>", Tree(bytes("Man"))},
        {"<BinaryElem>TQ==</BinaryElem>", Tree(bytes("M"))},
        {"<BinaryElem>====</BinaryElem>", Tree(bytes(""))},
    };
    for (auto const& test : cases) {
        XMLParser reader;
        Outcome const outcome = readDocument(test.document, reader);
        EXPECT_EQ(outcome.tree, describe(test.tree.get())) << test.document;
        EXPECT_EQ(outcome.complaint + outcome.output, "") << test.document;
    }
}

TEST(XMLParser, PutsValuesIntoTheirContainers)
{
    XMLParser reader;
    Outcome const outcome =
        readDocument(R"(<MapElem>text <child name="empty"/><other><IntegerElem>1</IntegerElem></other>
        <IntegerElem>2</IntegerElem><child/><child name="twice"><IntegerElem>3</IntegerElem></child>
        <child name="twice"><NullElem/><IntegerElem>4</IntegerElem></child>
        <child name="list"><ListElem><child name="x"><IntegerElem>5</IntegerElem></child><NullElem/></ListElem></child>
        </MapElem>)",
                     reader);
    MapElem expected;
    expected.put("", new IntegerElem(2));
    expected.put("twice", new IntegerElem(4));
    expected.put("list", (new ListElem)->add(5)->add(new NullElem));
    EXPECT_EQ(outcome.tree, describe(&expected));
    EXPECT_EQ(outcome.output, "UNKNOWN TYPE\r\n");
    EXPECT_EQ(outcome.complaint, "");
    EXPECT_EQ(reader.getErrorString(), nullptr);
}

std::string repeated(std::string const& text, unsigned count)
{
    std::string all;
    for (; count > 0; --count)
        all += text;
    return all;
}

TEST(XMLParser, ErrorsAreOneLineAndTheParserGoesOn)
{
    struct {
        std::string document;
        char const* line;
        long column;
        char const* tree;
    } const cases[] = {
        {"", "no element found at line 1\n", 1, "nothing"},
        {"<ListElem>\n<NullElem>", "no element found at line 2\n", 11, "nothing"},
        {"<ListElem>\n  <NullElem/></MapElem>", "mismatched tag at line 2\n", 16, "nothing"},
        {"<ListElem></ListElem>\nmore", "junk after document element at line 2\n", 1, "List[]"},
        {"<StringElem>&other;</StringElem>", "undefined entity at line 1\n", 13, "nothing"},
        {"<!DOCTYPE a [\n<!ENTITY b 'c'>]><StringElem>&b;</StringElem>", "parsing aborted at line 2\n", 12,
         "nothing"},
        {"<!DOCTYPE a [<!ENTITY % b SYSTEM '/etc/passwd'>%b;]><NullElem/>", "parsing aborted at line 1\n", 47,
         "nothing"},
        {"<!DOCTYPE a SYSTEM '/etc/passwd'><StringElem>&b;</StringElem>", "undefined entity at line 1\n", 49,
         "nothing"},
        {repeated("<ListElem>", kMaxNesting + 1), "nested too deep at line 1\n", 1291, "nothing"},
        {repeated("<x>", kMaxOpenTags + 1), "nested too deep at line 1\n", 772, "nothing"},
    };
    XMLParser reader;
    for (auto const& test : cases) {
        Outcome const outcome = readDocument(test.document, reader);
        EXPECT_EQ(outcome.complaint, test.line) << test.document;
        EXPECT_EQ(outcome.tree, test.tree) << test.document;
        EXPECT_EQ(reader.getErrorColumn(), test.column) << test.document;
        EXPECT_EQ(reader.getErrorString() + " at line "s + std::to_string(reader.getErrorLine()) + "\n",
                  test.line);
    }
    EXPECT_EQ(readDocument("<NullElem/>", reader).tree, describe(Tree(new NullElem).get()));
    EXPECT_EQ(reader.getErrorString(), nullptr);
}

// A document as long as it is asked for, and in the end a failure.
class EndlessDocument : public Ferrule::InputStream {
public:
    EndlessDocument(std::string begin, std::string const& again, long blocks = -1)
        : _text(std::move(begin)), _again(again), _left(blocks)
    {
    }
    int read(char* buffer, int size) override
    {
        if (_left-- == 0)
            return -1;
        while (_text.size() < static_cast<std::size_t>(size))
            _text += _again;
        memcpy(buffer, _text.data(), static_cast<std::size_t>(size));
        _text.erase(0, static_cast<std::size_t>(size));
        return size;
    }

private:
    std::string _text;
    std::string _again;
    long _left;
};

TEST(XMLParser, EndsAtItsLimitAndAtAReadError)
{
    XMLParser reader;
    testing::internal::CaptureStderr();
    EndlessDocument broken("<StringElem>", " ", 3);
    EXPECT_EQ(reader.parse_raw(&broken), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "read error at line 1\n");
    for (auto const& [begin, again] : {std::pair<char const*, char const*>{"<StringElem>", "  text  "},
                                       {"<StringElem a='", "        "},
                                       {"<!--", " comment"},
                                       {"<ListElem>", "<NullElem b='' cdefgh=''/>"}}) {
        EndlessDocument endless(begin, again);
        testing::internal::CaptureStderr();
        EXPECT_EQ(reader.parse_raw(&endless), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "document too large at line 1\n") << begin;
    }
}

std::string sampleDocument()
{
    auto* const map = new MapElem;
    map->put("a&b", (new ListElem)->add(-12)->add(new NullElem)->add("<text>")->add(true));
    map->put("bytes", bytes("any bytes"));
    map->put("x", new ExceptionElem("no", 5));
    map->put("d", new DoubleElem(1.5));
    return written(map);
}

// A document ends in its tree, or in null and a cause; only a root that was complete comes with a cause.
void attack(std::string const& document)
{
    XMLParser reader;
    Tree const tree(reader.parse_raw(document.data(), static_cast<int>(document.size())));
    bool const rootIsKnown = document.find("\n\n<MapElem>") != std::string::npos;
    ASSERT_TRUE(tree || reader.getErrorString() || !rootIsKnown) << document;
}

TEST(XMLParser, SurvivesEveryPrefixAndEveryByteChanged)
{
    SilentOutput const silent;
    std::string const document = sampleDocument();
    for (std::size_t length = 0; length < document.size(); ++length)
        ASSERT_NO_FATAL_FAILURE(attack(document.substr(0, length)));
    for (std::size_t at = 0; at < document.size(); ++at)
        for (int change = 1; change < 256; ++change) {
            std::string changed = document;
            changed[at] = static_cast<char>(changed[at] ^ change);
            ASSERT_NO_FATAL_FAILURE(attack(changed));
        }
}

// The end of the document on the end of a block, and around it.
TEST(XMLParser, ReadsInBlocks)
{
    for (int length = 4094; length <= 4098; ++length) {
        std::string document = "<StringElem></StringElem>";
        std::string const text(static_cast<std::size_t>(length) - document.size(), 'x');
        document.insert(12, text);
        Ferrule::ByteArrayInputStream stream(document.data(), length);
        Tree const tree(XMLParser().parse_raw(&stream));
        EXPECT_EQ(describe(tree.get()), describe(Tree(new StringElem(text)).get()));
    }
}

} // namespace
