#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/ElementHandler.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/JsonVisitor.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/foundation/ByteArrayInputStream.h"
#include "tavix/foundation/JsonDeserializer.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

using namespace Tavix;
using namespace std::string_literals;

std::string written(Element* element)
{
    std::unique_ptr<Element> const owner(element);
    return JsonVisitor::toJsonString(element);
}

Element* bytes(char const* text, unsigned length)
{
    TvxResult result;
    return new BinaryElem(reinterpret_cast<unsigned char const*>(text), length, result);
}

TEST(JsonVisitor, WritesEachKindInItsForm)
{
    EXPECT_EQ(written(new IntegerElem(-2)), "-2");
    EXPECT_EQ(written(new DoubleElem(2)), "2.000000");
    EXPECT_EQ(written(new DoubleElem(-1.0000005)), "-1.000001");
    EXPECT_EQ(written(new DoubleElem(1e300)), "1000000000000000052504760255204");
    EXPECT_EQ(written(new DoubleElem(-INFINITY)), "-inf");
    EXPECT_EQ(written(bytes("Man", 3)), "\"TWFu\"");
    EXPECT_EQ(written(bytes(nullptr, 0)), "\"\"");
    EXPECT_EQ(written(new ExceptionElem("no", 5)), R"({"exceptionstring":"no","exceptioninteger":5})");
    EXPECT_EQ(written(new ListElem), "[]");
    EXPECT_EQ(written(new MapElem), "{}");
    ListElem* const list = new ListElem;
    list->add(1)->add(new FileDescriptorElem(5, "h", "p", "e"))->add(2)->add(static_cast<Element*>(nullptr));
    EXPECT_EQ(written(list), "[1,,2,null]");
    MapElem* const map = new MapElem;
    map->addChild("b/", new IntegerElem(2));
    map->addChild("a", new FileDescriptorElem(5, "h", "p", "e"));
    EXPECT_EQ(written(map), R"({"a":,"b\/":2})");
}

TEST(JsonVisitor, EscapesWhatJsonCannotHold)
{
    struct {
        std::string text;
        char const* json;
    } const cases[] = {
        {"", R"("")"},
        {"a/b", R"("a\/b")"},
        {"\b\t\n\f\r\"\\", R"("\b\t\n\f\r\"\\")"},
        {"\x01"s + "A\x7F" + "\0B\x1F"s, R"("AB")"},
        {"\xC3\xA9\xC2\x85", "\"\xC3\xA9\xC2\x85\""},
    };
    for (auto const& one : cases)
        EXPECT_EQ(JsonVisitor::escapeString(one.text), one.json);
}

int parse(json::JsonDeserializer& deserializer, std::string const& text, ElementHandler& handler)
{
    Ferrule::ByteArrayInputStream stream(text.data(), static_cast<int>(text.size()));
    return deserializer.parse(&stream, &handler);
}

TEST(ElementHandler, BuildsTheTreeThatTheTextTells)
{
    struct {
        char const* text;
        char const* again;
    } const cases[] = {
        {R"({"a":[1,2.5,"x",true,null]})", R"({"a":[1,2.500000,"x",true,null]})"},
        {R"({"b":{"c":{}},"a":[[],[{}]]})", R"({"a":[[],[{}]],"b":{"c":{}}})"},
        {R"({"a":1,"a":[1],"a":2})", R"({"a":2})"},
        {"false", "false"},
        {"4294967298", "2"},
        {R"({"":"\u00e9\/\"\\"})", "{\"\":\"\xC3\xA9\\/\\\"\\\\\"}"},
        {"[[[[[[[[[[[[[[[1,2]]]]]]]]]]]]]],3]", "[[[[[[[[[[[[[[[1,2]]]]]]]]]]]]]],3]"},
    };
    ElementHandler handler;
    json::JsonDeserializer deserializer;
    for (auto const& one : cases) {
        handler.reset();
        EXPECT_EQ(parse(deserializer, one.text, handler), 0) << one.text;
        EXPECT_EQ(JsonVisitor::toJsonString(handler.getElement().get()), one.again);
    }
    SharedPtr<Element> const kept = handler.getElement();
    handler.reset();
    EXPECT_EQ(handler.getElement().get(), nullptr);
    EXPECT_EQ(kept->getNumChildren(), 2);
}

TEST(ElementHandler, EndsADocumentThatIsTooDeep)
{
    ElementHandler handler;
    json::JsonDeserializer deserializer;
    EXPECT_NE(parse(deserializer, "{\"a\":\n" + std::string(15, '[') + "1", handler), 0);
    EXPECT_STREQ(deserializer.getErrorString(), "line 2, column 15: nested deeper than 15 levels");
    EXPECT_EQ(handler.getElement().get(), nullptr);

    // The same from a source that does not stop there.
    handler.reset();
    for (int i = 0; i < 40; ++i) {
        handler.objectStart(nullptr, "o");
        handler.onString(nullptr, "s", "dropped below the limit");
    }
    for (int i = 0; i < 40; ++i)
        handler.objectEnd(nullptr);
    EXPECT_STREQ(handler.getErrorString(), "nested deeper than 15 levels");
    EXPECT_EQ(handler.getElement().get(), nullptr);

    handler.reset();
    EXPECT_EQ(parse(deserializer, "[7]", handler), 0);
    EXPECT_EQ(JsonVisitor::toJsonString(handler.getElement().get()), "[7]");
}

// A second document without reset().
TEST(ElementHandler, PutsWhatFollowsIntoTheRootOrDropsIt)
{
    ElementHandler handler;
    json::JsonDeserializer deserializer;
    EXPECT_EQ(parse(deserializer, "1", handler), 0);
    EXPECT_NE(parse(deserializer, "[2,{\"a\":[3]}]", handler), 0);
    EXPECT_STREQ(deserializer.getErrorString(),
                 "line 1, column 1: a value behind a root that is no container");
    handler.arrayEnd(nullptr); // from a source that does not stop there
    EXPECT_EQ(JsonVisitor::toJsonString(handler.getElement().get()), "1");
    handler.reset();
    EXPECT_EQ(parse(deserializer, "{\"a\":1}", handler), 0);
    EXPECT_EQ(parse(deserializer, "[2]", handler), 0);
    EXPECT_EQ(JsonVisitor::toJsonString(handler.getElement().get()), R"({"":[2],"a":1})");
}

} // namespace
