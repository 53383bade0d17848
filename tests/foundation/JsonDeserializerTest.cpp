#include "tavix/foundation/JsonDeserializer.h"

#include "tavix/foundation/ByteArrayInputStream.h"
#include "tavix/foundation/DataObjectHandler.h"
#include "tavix/foundation/DataObjectList.h"
#include "tavix/foundation/FileInputStream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

using namespace Ferrule;
using json::JsonDeserializer;

// Writes each event as a letter, the name and the value.
class Recorder : public Deserializer::Handler {
public:
    using Source = WeakPtr<Deserializer>;
    void reset() override { events.clear(); }
    void onInteger(Source, char const* name, int value) override { add("i", name, std::to_string(value)); }
    void onInteger64(Source, char const* name, std::int64_t value) override
    {
        add("l", name, std::to_string(value));
    }
    void onDouble(Source, char const* name, double value) override
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.17g", value);
        add("d", name, text);
    }
    void onString(Source, char const* name, char const* value) override { add("s", name, value); }
    void onBoolean(Source, char const* name, bool value) override { add("b", name, value ? "1" : "0"); }
    void onNull(Source, char const* name) override { add("n", name, ""); }
    void arrayStart(Source, char const* name) override { add("[", name, ""); }
    void arrayEnd(Source) override { events += "] "; }
    void objectStart(Source, char const* name) override { add("{", name, ""); }
    void objectEnd(Source) override { events += "} "; }

    std::string events;

private:
    void add(char const* kind, char const* name, std::string const& value)
    {
        events += std::string(kind) + (name ? name + std::string(":") : "") + value + " ";
    }
};

template <class Handler>
int parse(JsonDeserializer& deserializer, std::string const& text, Handler& handler)
{
    ByteArrayInputStream stream(text.data(), static_cast<int>(text.size()));
    return deserializer.parse(&stream, &handler);
}

TEST(JsonDeserializer, ReportsWhatTheTextHolds)
{
    struct {
        char const* text;
        char const* events;
    } const cases[] = {
        {" [1,{\"a\":[2],\"b\":{}},3 ] ", "[ i1 { [a: i2 ] {b: } } i3 ] "},
        {"{\"x\":1,\"x\":null,\"\":true}", "{ ix:1 nx: b:1 } "},
        {"2147483647", "i2147483647 "},
        {"-2147483648", "i-2147483648 "},
        {"2147483648", "l2147483648 "},
        {"9223372036854775807", "l9223372036854775807 "},
        {"9223372036854775808", "d9.2233720368547758e+18 "},
        {"-9223372036854775809", "d-9.2233720368547758e+18 "},
        {"1e2", "d100 "},
        {"1.0", "d1 "},
        {"1e-999", "d0 "},
        {"\"\\u00e9\\ud83d\\ude00\\n\\/\"", "s\xC3\xA9\xF0\x9F\x98\x80\n/ "},
    };
    for (auto const& one : cases) {
        JsonDeserializer deserializer;
        Recorder recorder;
        EXPECT_EQ(parse(deserializer, one.text, recorder), 0) << one.text;
        EXPECT_EQ(deserializer.getErrorString(), nullptr) << one.text;
        EXPECT_EQ(recorder.events, one.events) << one.text;
    }
}

TEST(JsonDeserializer, SaysWhereAndWhyATextIsWrong)
{
    using namespace std::string_literals;
    char const* const kNoValue = "holds no value";
    struct {
        std::string text;
        char const* place;
        char const* reason;
    } const cases[] = {
        {"", "line 1, column 1: ", kNoValue},
        {" \n\t", "line 2, column 2: ", kNoValue},
        {"[1,\n 2,\n x]", "line 3, column 2: ", "invalid literal"},
        {"[1 2]", "line 1, column 4: ", "unexpected number literal; expected ']'"},
        {"{} {}", "line 1, column 4: ", "expected end of input"},
        {"[\n\"a\nb\"]", "line 2, column 3: ", "control character"},
        {"[\"\xff\"]", "line 1, column 3: ", "ill-formed UTF-8"},
        {"\"\\ud800\"", "line 1, column 8: ", "surrogate"},
        {"[1,\n1e999\n]", "line 2, column 5: ", "the number is too large"},
        {"[\"a\\u0000b\"]", "line 1, column 11: ", "zero character"},
        {"{\"a\\u0000\":1}", "line 1, column 10: ", "zero character"},
        {"[1]\0[2]"s, "line 1, column 4: ", "zero byte"},
        {"[1,\0"s, "line 1, column 4: ", "zero byte"},
    };
    JsonDeserializer deserializer;
    for (auto const& one : cases) {
        Recorder recorder;
        int const expected = one.reason == kNoValue ? JsonDeserializer::kNoValue : JsonDeserializer::kFailed;
        EXPECT_EQ(parse(deserializer, one.text, recorder), expected) << one.text;
        std::string const error = deserializer.getErrorString();
        EXPECT_EQ(error.find(one.place), 0u) << one.text << "\n" << error;
        EXPECT_NE(error.find(one.reason), std::string::npos) << one.text << "\n" << error;
        EXPECT_EQ(error.find("last read"), std::string::npos) << error;
    }
}

TEST(JsonDeserializer, CountsAcrossBlocksAndNestsWithoutRecursion)
{
    JsonDeserializer deserializer;
    Recorder recorder;
    for (int size : {4094, 4095, 4096, 4097, 8192}) {
        std::string const text = "[\n\"" + std::string(static_cast<std::size_t>(size) - 5, 'x') + "\"\n";
        recorder.reset();
        EXPECT_EQ(parse(deserializer, text + "]", recorder), 0);
        EXPECT_EQ(recorder.events.size(), static_cast<std::size_t>(size) - 5 + 6);
        EXPECT_NE(parse(deserializer, text + "1]", recorder), 0);
        EXPECT_EQ(std::string(deserializer.getErrorString()).find("line 3, column 1: "), 0u);
    }
    std::string const deep(200000, '[');
    EXPECT_EQ(parse(deserializer, deep + std::string(200000, ']'), recorder), 0);
}

TEST(FileInputStream, ReadsToTheEndAndKeepsTheFirstFailure)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "[1,2]", 5), 5);
    FileInputStream stream(ends[0]);
    stream.setNonBlocking();
    EXPECT_EQ(stream.getErrorString(), nullptr);
    char buffer[16];
    EXPECT_EQ(stream.read(buffer, 3), 3);
    EXPECT_EQ(stream.read(buffer, 16), 2);
    EXPECT_STREQ(stream.getErrorString(), "Resource temporarily unavailable");
    close(ends[1]);
    EXPECT_EQ(stream.read(buffer, 16), 0);

    FileInputStream directory(open("/", O_RDONLY));
    EXPECT_EQ(directory.read(buffer, 16), 0);
    EXPECT_STREQ(directory.getErrorString(), "Is a directory");
}

TEST(DataObjectHandler, BuildsWhatAnActivationFileHolds)
{
    JsonDeserializer deserializer;
    DataObjectHandler handler;
    ASSERT_EQ(parse(deserializer, R"([{"name":["a",7,"b"],"exec":"/bin/x","n":null}, 5])", handler), 0);
    SharedPtr<DataObject> const root = handler.getRoot();
    ASSERT_TRUE(root->isList());
    WeakPtr<DataObject> const entry = root->item(0);
    EXPECT_STREQ(entry->get("exec")->text(), "/bin/x");
    EXPECT_FALSE(entry->get("service")->isValid());
    EXPECT_TRUE(entry->get("n")->isValid());
    EXPECT_EQ(entry->get("n")->text(), nullptr);
    EXPECT_TRUE(root->hasItem(1));
    EXPECT_FALSE(root->hasItem(-1));
    EXPECT_FALSE(root->item(2)->isValid());

    std::string names;
    std::unique_ptr<DataObjectList::Iterator> const walk(entry->get("name")->toList()->iterator());
    for (walk->next(); walk->value()->isValid(); walk->next()) {
        char const* const text = walk->value()->text();
        names += (text ? text : "-") + std::string(walk->hasNext() ? "," : "");
    }
    EXPECT_EQ(names, "a,-,b");
    handler.reset();
    EXPECT_EQ(handler.getRoot().get(), nullptr);
}

TEST(DataObjectHandler, EndsADocumentThatIsTooDeep)
{
    JsonDeserializer deserializer;
    DataObjectHandler handler;
    EXPECT_EQ(parse(deserializer, std::string(16, '[') + std::string(16, ']'), handler), 0);
    handler.reset();
    EXPECT_NE(parse(deserializer, std::string(17, '[') + std::string(17, ']'), handler), 0);
    EXPECT_STREQ(deserializer.getErrorString(), "line 1, column 17: nested deeper than 16 levels");
    EXPECT_EQ(handler.getRoot().get(), nullptr);
    handler.reset();
    EXPECT_EQ(parse(deserializer, "\"x\"", handler), 0);
    EXPECT_STREQ(handler.getRoot()->text(), "x");
}

} // namespace
