// The lists of errors that schemas and values in tests/data/schema have, compared as a whole: path, message and the
// schema that failed.

#include "tavix/elements/JsonSchemaValidator.h"

#include "support/JsonTrees.h"
#include "support/SmallStack.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

#include <boost/format.hpp>
#include <boost/regex.hpp>
#include <gmock/gmock.h>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

namespace {

using namespace Tavix;
using nlohmann::json;
using namespace nlohmann::literals;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

std::unique_ptr<Element> tree(json const& value)
{
    return std::unique_ptr<Element>(JsonTrees::make(value));
}

// Where `schema` stands below `root`; empty when it does not.
std::string placeOf(void const* schema, Element* root, std::string const& path)
{
    if (schema == root)
        return path;
    std::unique_ptr<ElementIterator> const children(root ? root->iterator() : nullptr);
    while (children && children->hasNext()) {
        std::string const name = children->nextName();
        std::string const place = placeOf(schema, children->next(), path + "/" + name);
        if (!place.empty())
            return place;
    }
    return {};
}

Lines linesOf(std::vector<JsonSchemaValidator::Error> const& errors, Element* root)
{
    Lines lines;
    for (auto const& error : errors) {
        std::string const place = error.schema ? placeOf(error.schema, root, "#") : "null";
        lines.push_back(error.path + ": " + error.message);
        if (place != "#")
            lines.back() += " [" + (place.empty() ? "temporary" : place) + "]";
    }
    return lines;
}

struct Checker {
    explicit Checker(json const& text, bool isOpen = true)
        : schema(tree(text)), validator(static_cast<MapElem*>(schema.get()), isOpen, isOpen)
    {
    }

    Lines errors(Element* instance, std::string const& ref = "#")
    {
        bool const passed = validator.validate(instance, ref);
        EXPECT_EQ(passed, validator.getErrors().empty());
        return linesOf(validator.getErrors(), schema.get());
    }
    Lines errors(json const& instance, std::string const& ref = "#")
    {
        auto const value = tree(instance);
        return errors(value.get(), ref);
    }

    std::unique_ptr<Element> schema;
    JsonSchemaValidator validator;
};

class SchemaData : public testing::TestWithParam<char const*> {};

TEST_P(SchemaData, GivesTheseErrors)
{
    for (json const& group : JsonTrees::load((std::string("schema/") + GetParam() + ".json").c_str())) {
        Checker checker(group["schema"], !group.value("closed", false));
        auto const check = [&](json const& instance, Lines const& expected) {
            SCOPED_TRACE(group["about"].get<std::string>() + ": " + instance.dump());
            EXPECT_THAT(checker.errors(instance, group.value("ref", "#")),
                        testing::ElementsAreArray(expected));
            EXPECT_THAT(checker.errors(instance, group.value("ref", "#")),
                        testing::ElementsAreArray(expected))
                << "again";
        };
        for (json const& instance : group.value("valid", json::array()))
            check(instance, {});
        for (json const& instance : group.value("invalid", json::array()))
            check(instance, group["errors"]);
        for (json const& one : group.value("checks", json::array()))
            check(one["instance"], one["errors"]);
    }
}

INSTANTIATE_TEST_SUITE_P(, SchemaData,
                         testing::Values("types", "combiners", "objects", "arrays", "numbers", "strings",
                                         "references", "package", "geojson", "api", "service"),
                         [](auto const& info) { return std::string(info.param); });

TEST(JsonSchemaValidator, MessagesAreThoseOfTheFormatter)
{
    for (double const limit : {1.5, 0.1, 1e-7, 0.0000005, 123456789.9999995, 1e308, 5e-324,
                               std::numeric_limits<double>::infinity()}) {
        Checker checker(json::object());
        checker.schema->addChild("minimum", new DoubleElem(limit));
        checker.schema->addChild("maximum", new DoubleElem(-limit));
        EXPECT_THAT(checker.errors(0.0),
                    ElementsAre("#: " + (boost::format(JsonSchemaValidator::kNumberMinimum) % limit).str(),
                                "#: " + (boost::format(JsonSchemaValidator::kNumberMaximum) % -limit).str()));
    }
    Checker checker(R"({"required": ["%s %1% %"]})"_json);
    EXPECT_THAT(checker.errors(json::object()), ElementsAre("#: Property '%s %1% %' is required."));
}

TEST(JsonSchemaValidator, ARunBeginsAnewAndADependencyStaysOpen)
{
    Checker checker(R"({"dependencies": {"a": ["b"], "c": {}}})"_json, false);
    Element* const opened = checker.schema->getChild("dependencies")->getChild("c");
    EXPECT_THAT(checker.errors(R"({"a": 1})"_json),
                ElementsAre("#: Property 'b' is required. [temporary]", "#: Unexpected property 'a'."));
    MapElem* const made = checker.validator.getErrors()[0].schema;
    EXPECT_TRUE(made->getChild("additionalProperties")->booleanValue());
    EXPECT_EQ(made->getChild("required")->getChild(0U)->stringValue(), "b");
    EXPECT_FALSE(opened->hasChild("additionalProperties"));
    EXPECT_THAT(checker.errors(R"({"c": 1})"_json), ElementsAre("#: Unexpected property 'c'."));
    EXPECT_TRUE(opened->getChild("additionalProperties")->booleanValue());
    Element* const nothing = nullptr;
    EXPECT_THAT(checker.errors(nothing),
                ElementsAre("#: Provided instance is invalid: 'invalid instance pointer'."));

    // A step alone adds to the list, as does a check.
    EXPECT_FALSE(checker.validator.validate(nothing, "#/x", static_cast<MapElem*>(opened)));
    opened->addChild("anyOf", JsonTrees::make(R"([{"type": "null"}, {"minimum": 2}])"_json));
    IntegerElem one(1);
    EXPECT_FALSE(checker.validator.validateAnyOf(&one, "#/y", static_cast<MapElem*>(opened)));
    EXPECT_EQ(checker.validator.getErrors().size(), 2U + 3);
}

// The map that a dependency opens is the one whose properties are being walked.
TEST(JsonSchemaValidator, ASchemaKeepsStillDuringARun)
{
    json const schema = R"({"properties": {"dependencies": {"properties": {
        "a": {}, "properties": {"$ref": "#/properties", "maxProperties": 0}, "z": {"type": "null"}}}}})"_json;
    Checker checker(schema);
    EXPECT_THAT(
        checker.errors(R"({"properties": {"properties": 5}, "z": 2})"_json, "#/properties/dependencies"),
        ElementsAre("#/properties: Object must not have more than 0 items. "
                    "[#/properties/dependencies/properties/properties]",
                    "#/z: Expected 'null' but got 'integer'. [#/properties/dependencies/properties/z]"));
    Element* const opened =
        checker.schema->getChild("properties")->getChild("dependencies")->getChild("properties");
    EXPECT_EQ(opened->getNumChildren(), 4);

    // A step alone is a run too.
    Checker step(schema);
    auto const value = tree(R"({"properties": {"properties": 5}, "z": 2})"_json);
    JsonSchemaValidator::Names names;
    EXPECT_FALSE(step.validator.validateProperties(
        static_cast<MapElem*>(value.get()), "#",
        static_cast<MapElem*>(step.schema->getChild("properties")->getChild("dependencies")), names));
    EXPECT_EQ(linesOf(step.validator.getErrors(), step.schema.get()).size(), 2U);

    // Between runs it may change.
    opened->getChild("z")->setChild("type", new StringElem("integer"));
    EXPECT_TRUE(checker.validator.validateType(nullptr, "integer", "#",
                                               static_cast<MapElem*>(opened->getChild("z"))));
    EXPECT_THAT(checker.errors(R"({"z": 2})"_json, "#/properties/dependencies"), ElementsAre());
}

TEST(JsonSchemaValidator, WithoutASchemaOnlyReferencesAreAnswered)
{
    JsonSchemaValidator validator(nullptr, true, true);
    IntegerElem value(1);
    EXPECT_FALSE(validator.validate(&value, "#"));
    EXPECT_THAT(linesOf(validator.getErrors(), nullptr),
                ElementsAre("#: Provided schema is invalid - 'invalid schema instance'. [null]"));
    EXPECT_FALSE(validator.validate(&value, "#/a"));
    EXPECT_THAT(linesOf(validator.getErrors(), nullptr),
                ElementsAre("#: Bad schema reference '#/a'. [null]"));
    EXPECT_TRUE(validator.validate(&value, "a"));
}

TEST(JsonSchemaValidator, APatternWithoutEndLeavesItUsable)
{
    Checker checker(R"({"properties": {"a": {"type": "null"}},
                        "additionalProperties": {"anyOf": [{"type": "null"}, {"pattern": "^(a+)+(b|c)?$"}]}})"_json);
    auto const hostile = tree({{"a", 1}, {"b", std::string(60, 'a') + "!"}});
    EXPECT_THROW(checker.validator.validate(hostile.get(), "#"), std::runtime_error);
    EXPECT_THAT(linesOf(checker.validator.getErrors(), checker.schema.get()),
                ElementsAre("#/a: Expected 'null' but got 'integer'. [#/properties/a]",
                            "#/b: Expected 'null' but got 'string'. [#/additionalProperties/anyOf/0]"));
    EXPECT_THAT(checker.errors(R"({"b": "aab"})"_json), ElementsAre());
    EXPECT_THAT(checker.errors(R"({"b": null, "c": "x"})"_json).size(), 3U);

    // Each of its states compares the text from there on.
    Checker backReferences(R"({"pattern": "^(a*?)(a*?)\\1\\2b"})"_json);
    EXPECT_THROW(backReferences.errors(std::string(50000, 'a')), std::runtime_error);
}

std::unique_ptr<Element> nest(unsigned levels, char const* key, json const& innermost)
{
    auto value = tree(innermost);
    while (levels-- > 0) {
        auto outer = std::make_unique<MapElem>();
        ListElem* const list = new ListElem;
        list->add(value.release());
        outer->addChild(key, list);
        value = std::move(outer);
    }
    return value;
}

TEST(JsonSchemaValidator, DepthIsBoundedOnASmallStack)
{
    onSmallStack(
        [] {
            Checker lists(R"({"items": {"$ref": "#"}, "properties": {"a": {"$ref": "#"}}})"_json);
            EXPECT_THAT(lists.errors(nest(64, "a", 1).get()), ElementsAre());
            std::string place = "#";
            for (int i = 0; i < 64; ++i)
                place += "/a/0";
            EXPECT_THAT(
                lists.errors(nest(100, "a", 1).get()),
                ElementsAre(
                    place +
                    "/a: Provided instance is invalid: 'nested deeper than 128 levels'. [#/properties/a]"));

            Checker both(R"({"items": {"allOf": [{"allOf": [{"$ref": "#"}]}]},
                         "properties": {"a": {"allOf": [{"allOf": [{"$ref": "#"}]}]}}})"_json);
            EXPECT_THAT(both.errors(nest(60, "a", 1).get()), ElementsAre());
            EXPECT_THAT(both.errors(nest(100, "a", 1).get())[0],
                        testing::HasSubstr("nested deeper than 512 levels"));

            Checker deep(json::object());
            TvxResult result;
            deep.schema->addChild("allOf",
                                  nest(300, "allOf", {{"type", "null"}})->removeChild("allOf", result));
            EXPECT_EQ(deep.errors(1).size(), 1U + 128);
        },
        kStackOfReleases);
}

// Each level doubles the ways; every one of them fails.
TEST(JsonSchemaValidator, ValuesThatManyReferencesLeadToAreCheckedOnce)
{
    Checker checker({{"type", "object"},
                     {"properties", {{"a", {{"items", {{"oneOf", {{{"$ref", "#"}}, {{"$ref", "#"}}}}}}}}}}});
    EXPECT_GT(checker.errors(nest(60, "a", 1).get()).size(), 60U);
    EXPECT_EQ(checker.errors(nest(2, "a", 1).get()).size(), 2U * 2 * 1 + 2 + 1);

    // What "not" has taken back is found again, but not for ever.
    Checker twice(R"({"not": {"$ref": "#/d"}, "$ref": "#/d", "d": {"type": "null", "properties": {"a": {
                      "items": {"not": {"$ref": "#/d"}, "allOf": [{"$ref": "#/d"}]}}}, "items": {"$ref": "#"}}})"_json);
    Lines const lines = twice.errors(json(33000, 1));
    ASSERT_EQ(lines.size(), 33001U);
    EXPECT_EQ(lines.back(), "#/32999: Expected 'null' but got 'integer'. [#/d]");
    EXPECT_GT(twice.errors(nest(60, "a", 1).get()).size(), 60U);
}

TEST(JsonSchemaValidator, PathsAreTakenApartAndPutTogether)
{
    using Validator = JsonSchemaValidator;
    EXPECT_THAT(Validator::stringToPath("#"), ElementsAre("#"));
    EXPECT_THAT(Validator::stringToPath("#/a/"), ElementsAre("#", "a", ""));
    EXPECT_THAT(Validator::stringToPath("#/a~1b/%2f/%zz~1"), ElementsAre("#", "a/b", "/", "%zz~1"));
    for (char const* text : {"", "a", "/a", "#a", " #/a"})
        EXPECT_THAT(Validator::stringToPath(text), ElementsAre()) << text;
    EXPECT_EQ(Validator::pathToString({"#", "a", "", "2"}), "#/a//2");
    EXPECT_EQ(Validator::pathToString({"a"}) + Validator::pathToString({}), "");

    Validator::Error const none, first("b", "#/a", nullptr), second("a", "#/a/0", nullptr),
        third("\xC3", "#/a", nullptr);
    EXPECT_TRUE(none < first && first < second && first < third && third < second);
    EXPECT_FALSE(second < first || first < first);

    EXPECT_STREQ(errorToStr(boost::regex("(", boost::regex::no_except).status()), "error_paren");
    EXPECT_STREQ(errorToStr(boost::regex_constants::error_empty), "unknown");
}

} // namespace
