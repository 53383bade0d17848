#include <tavix/capi.h>
#include <tavix/elements/IntegerElem.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace std::string_literals;

namespace {

struct FreeElement {
    void operator()(TvxElement* e) const { tvx_elem_free(e); }
};
using Owned = std::unique_ptr<TvxElement, FreeElement>;

// Counts the living elements of a test, clones included.
class Probe : public Tavix::IntegerElem {
public:
    Probe() : IntegerElem(7) { ++alive; }
    ~Probe() override { --alive; }
    Element* clone() const override { return new Probe(); }
    static TvxElement* make() { return tvx_convert_to_tvx_element(new Probe()); }
    static int alive;
};
int Probe::alive = 0;

std::string text(TvxElement* e)
{
    std::unique_ptr<char, decltype(&std::free)> copy(tvx_elem_strdup_value(e, nullptr), &std::free);
    return copy == nullptr ? "(none)" : copy.get();
}

// The tree in words, read through the flat functions alone: (5 'x' {k:null}).
std::string describe(TvxElement* e)
{
    if (e == nullptr)
        return "(none)";
    if (tvx_elem_instance_of(e, "NullElem"))
        return "null";
    if (tvx_elem_is_exception(e))
        return "!" + text(e) + std::to_string(tvx_elem_exception_int_value(e, nullptr));
    if (tvx_elem_instance_of(e, "StringElem"))
        return "'" + text(e) + "'";
    if (tvx_elem_get_num_children(e) < 0)
        return text(e);
    const bool isMap = tvx_elem_instance_of(e, "MapElem");
    std::string words;
    TvxIterator* i = tvx_iterator_new(e);
    for (int left = 16; left > 0 && !tvx_iterator_last(i); --left) { // no tree here has more children
        const std::string name = tvx_iterator_deref(i);
        words += words.empty() ? "" : " ";
        words += isMap ? name + ":" : "";
        words += describe(isMap ? tvx_map_elem_get_child(e, name.c_str())
                                : tvx_list_elem_get_child(e, static_cast<unsigned>(std::stoul(name))));
        tvx_iterator_next(i);
    }
    tvx_iterator_free(i);
    return isMap ? "{" + words + "}" : "(" + words + ")";
}

TEST(CapiFormat, BuildsTrees)
{
    const Owned kept(tvx_elem_new("(i)", 9));
    const struct {
        TvxElement* built;
        const char* words;
    } cases[] = {
        {tvx_elem_new("i", 5), "5"},
        {tvx_elem_new("n"), "null"},
        {tvx_elem_new("b", 256), "true"},
        {tvx_elem_new("d", 1.5), "1.500000"},
        {tvx_elem_new("f", 3), "3"},
        {tvx_elem_new("ii", 1, 2), "1"},
        {tvx_elem_new("()"), "()"},
        {tvx_elem_new("{}"), "{}"},
        {tvx_elem_new("()x"), "()"},
        {tvx_elem_new("(i(ss){}n)", 1, "a", "b"), "(1 ('a' 'b') {} null)"},
        {tvx_elem_new("{is}", "port", 80, "host", "x"), "{host:'x' port:80}"},
        {tvx_elem_new("{i(d{b})i}", "k", 1, "l", 0.5, "m", 0, "k", 2), "{k:2 l:(0.500000 {m:false})}"},
        {tvx_elem_new("(e)", static_cast<TvxElement*>(nullptr)), "(null)"},
        {tvx_elem_new("(EE)", kept.get(), kept.get()), "((9) (9))"},
        {tvx_elem_new("e", tvx_exception_elem_newf(4, "no %s", "way")), "!no way4"},
    };
    for (auto const& one : cases) {
        EXPECT_EQ(describe(one.built), one.words);
        tvx_elem_free(one.built);
    }
}

TEST(CapiFormat, FailuresReleaseWhatWasTakenAndLeaveTheRest)
{
    TvxElement* const none = nullptr;
    const char* const noText = nullptr;
    // Every format is called with a first and a second element.
    const struct {
        std::function<TvxElement*(TvxElement*, TvxElement*)> build;
        std::string line;
        int taken;
    } cases[] = {
        {[](auto, auto) { return tvx_elem_new(""); }, "Unknown element specifier '\0'\n"s, 0},
        {[](auto, auto) { return tvx_elem_new(" i", 1); }, "Unknown element specifier ' '\n", 0},
        {[](auto, auto) { return tvx_elem_new("(x)"); }, "Unknown element specifier 'x'\n", 0},
        {[](auto, auto) { return tvx_elem_new("{i)", "k", 1, "m"); }, "Unknown element specifier ')'\n", 0},
        {[](auto a, auto) { return tvx_elem_new("(e", a); }, "Format string lacks closing ')'\n", 1},
        {[](auto a, auto) { return tvx_elem_new("(E", a); }, "Format string lacks closing ')'\n", 0},
        {[](auto a, auto b) { return tvx_elem_new("{e(e)", "k", a, "l", b); },
         "Format string lacks closing '}'\n", 2},
        {[](auto a, auto b) { return tvx_elem_new("{(e}e)", "k", a, b); }, "Unknown element specifier '}'\n",
         1},
        {[=](auto a, auto b) { return tvx_elem_new("(ese)", a, noText, b); },
         "Null text for element specifier 's'\n", 1},
        {[=](auto a, auto b) { return tvx_elem_new("(e{e})", a, noText, b); },
         "Null key for a map of the format string\n", 1},
        {[=](auto a, auto b) { return tvx_elem_new("(eEe)", a, none, b); },
         "Null element for element specifier 'E'\n", 1},
    };
    for (auto const& one : cases) {
        TvxElement* elements[] = {Probe::make(), Probe::make()};
        testing::internal::CaptureStdout();
        EXPECT_EQ(one.build(elements[0], elements[1]), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), one.line);
        EXPECT_EQ(Probe::alive, 2 - one.taken) << one.line;
        for (int i = one.taken; i < 2; ++i)
            tvx_elem_free(elements[i]);
    }
    EXPECT_EQ(Probe::alive, 0);
}

TEST(CapiFormatDeathTest, NullFormatIsAFault)
{
    EXPECT_DEATH(tvx_elem_new(nullptr), "Assertion `fmt' failed");
}

TEST(CapiValues, TextsAreReadFromAnyElement)
{
    const Owned list(tvx_elem_new("(ii)", 1, 2));
    const Owned hello(tvx_string_elem_newf("%s%c", "hell", 'o'));
    const Owned number(tvx_integer_elem_new(-12));
    const Owned bytes(tvx_binary_elem_new(reinterpret_cast<const unsigned char*>("a\0b"), 3));
    TvxResult result = OPERATION_INDEX_OUT_OF_BOUNDS;
    char buffer[8] = "-------";
    EXPECT_STREQ(tvx_elem_strcpy_value(hello.get(), buffer, 4, &result), "hel");
    EXPECT_EQ(result, OPERATION_OK);
    EXPECT_STREQ(buffer + 4, "---");
    EXPECT_STREQ(tvx_elem_strcpy_value(number.get(), buffer, sizeof buffer, nullptr), "-12");
    EXPECT_STREQ(tvx_elem_strcpy_value(hello.get(), buffer, 1, nullptr), "");
    EXPECT_EQ(text(list.get()), "");

    EXPECT_EQ(tvx_elem_strcmp(hello.get(), "hello", nullptr), 0);
    EXPECT_LT(tvx_elem_strcmp(hello.get(), "help", nullptr), 0);
    EXPECT_GT(tvx_elem_strcmp(hello.get(), "hell", nullptr), 0);
    EXPECT_GT(tvx_elem_strcmp(bytes.get(), "a", nullptr), 0);
    EXPECT_EQ(tvx_elem_strncmp(hello.get(), "help", 3, nullptr), 0);
    EXPECT_LT(tvx_elem_strncmp(hello.get(), "help", 4, nullptr), 0);

    testing::internal::CaptureStdout();
    tvx_elem_print("greeting", hello.get());
    EXPECT_NE(testing::internal::GetCapturedStdout().find("hello"), std::string::npos);
    testing::internal::CaptureStderr();
    EXPECT_STREQ(tvx_elem_strncpy_value(hello.get(), buffer, 3, nullptr), "he");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tvx_elem_strncpy_value: don't call me!  I'm broken!\n");
}

TEST(CapiValues, NumbersComeWithTheirCode)
{
    const Owned bad(tvx_string_elem_new("12abc"));
    const Owned real(tvx_double_elem_new(-2.75));
    TvxResult result = OPERATION_OK;
    EXPECT_EQ(tvx_elem_int_value(bad.get(), &result), -1);
    EXPECT_EQ(result, OPERATION_FAILED_NOT_SUPPORTED);
    EXPECT_EQ(tvx_elem_int_value(real.get(), &result), -2);
    EXPECT_EQ(result, OPERATION_OK);
    EXPECT_EQ(tvx_elem_double_value(real.get(), nullptr), -2.75);

    const unsigned char data[] = {1, 2, 3};
    const Owned binary(tvx_binary_elem_new(data, 3));
    const Owned empty(tvx_binary_elem_new(nullptr, 3));
    unsigned length = 9;
    EXPECT_EQ(std::memcmp(tvx_elem_binary_value(binary.get(), &length), data, 3), 0);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(tvx_elem_binary_value(empty.get(), &length), nullptr);
    EXPECT_EQ(length, 0u);
}

TEST(CapiContainers, ChildrenAreTakenInEveryCase)
{
    const Owned list(tvx_list_elem_new());
    const Owned map(tvx_map_elem_new());
    testing::internal::CaptureStderr();
    EXPECT_EQ(tvx_list_elem_add_child(list.get(), 1, Probe::make()), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(tvx_list_elem_append_child(nullptr, Probe::make()), 0);
    EXPECT_EQ(tvx_map_elem_add_child(nullptr, "x", Probe::make()), 0);
    EXPECT_EQ(tvx_map_elem_add_child(map.get(), nullptr, Probe::make()), 0);
    EXPECT_EQ(Probe::alive, 0);

    EXPECT_NE(tvx_map_elem_add_child(map.get(), "x", Probe::make()), 0);
    EXPECT_NE(tvx_map_elem_add_child(map.get(), "x", tvx_integer_elem_new(1)), 0);
    EXPECT_EQ(Probe::alive, 0);
    EXPECT_EQ(describe(map.get()), "{x:1}");
    EXPECT_NE(tvx_list_elem_append_child(list.get(), tvx_integer_elem_new(2)), 0);
    EXPECT_NE(tvx_list_elem_append_child(list.get(), tvx_integer_elem_new(3)), 0);
    EXPECT_NE(tvx_list_elem_add_child(list.get(), 0, tvx_integer_elem_new(1)), 0);
    EXPECT_EQ(describe(list.get()), "(1 2 3)");
}

TEST(CapiContainers, RemovalHandsTheChildBack)
{
    const Owned list(tvx_elem_new("(ii)", 1, 2));
    const Owned map(tvx_elem_new("{i}", "k", 3));
    TvxResult result = OPERATION_OK;
    EXPECT_EQ(describe(Owned(tvx_list_elem_remove_child(list.get(), 0, &result)).get()), "1");
    EXPECT_EQ(tvx_list_elem_remove_child(list.get(), 1, &result), nullptr);
    EXPECT_EQ(result, OPERATION_INDEX_OUT_OF_BOUNDS);
    EXPECT_TRUE(tvx_map_elem_has_child(map.get(), "k"));
    EXPECT_EQ(describe(Owned(tvx_map_elem_remove_child(map.get(), "k", &result)).get()), "3");
    EXPECT_EQ(result, OPERATION_OK);
    EXPECT_EQ(tvx_map_elem_remove_child(map.get(), "k", &result), nullptr);
    EXPECT_EQ(result, OPERATION_FAILED_NO_SUCH_CHILD);
    EXPECT_EQ(tvx_list_elem_remove_children(list.get()), OPERATION_OK);
    EXPECT_EQ(tvx_list_elem_get_length(list.get()), 0);
}

TEST(CapiIterator, EndsAndStaysAtTheEnd)
{
    const Owned list(tvx_elem_new("(ii)", 1, 2));
    TvxIterator* i = tvx_iterator_new(list.get());
    EXPECT_NE(tvx_iterator_next(i), 0);
    EXPECT_STREQ(tvx_iterator_deref(i), "1");
    EXPECT_NE(tvx_iterator_next(i), 0);
    for (int repeated = 0; repeated < 2; ++repeated) {
        EXPECT_NE(tvx_iterator_last(i), 0);
        EXPECT_STREQ(tvx_iterator_deref(i), "");
        EXPECT_EQ(tvx_iterator_next(i), 0);
    }
    tvx_iterator_free(i);

    // An empty key sorts first and reads as the end.
    const Owned map(tvx_elem_new("{ii}", "", 1, "a", 2));
    i = tvx_iterator_new(map.get());
    EXPECT_NE(tvx_iterator_last(i), 0);
    tvx_iterator_free(i);

    const Owned leaf(tvx_null_elem_new());
    EXPECT_EQ(tvx_iterator_new(leaf.get()), nullptr);
}

TEST(Capi, NullsAreRefused)
{
    const Owned e(tvx_elem_new("{i}", "k", 1));
    TvxResult result = OPERATION_OK;
    unsigned length = 1;
    char buffer[] = "kept";
    EXPECT_EQ(tvx_elem_int_value(nullptr, &result), -1);
    EXPECT_EQ(result, OPERATION_FAILED_NOT_SUPPORTED);
    EXPECT_EQ(tvx_elem_binary_value(nullptr, &length), nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(tvx_elem_binary_value(e.get(), nullptr), nullptr);
    EXPECT_EQ(tvx_elem_strcpy_value(e.get(), buffer, 0, nullptr), nullptr);
    EXPECT_EQ(tvx_elem_strcpy_value(nullptr, buffer, sizeof buffer, nullptr), nullptr);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(tvx_elem_strcpy_value(e.get(), nullptr, 4, nullptr), nullptr);
    EXPECT_EQ(tvx_elem_strcmp(e.get(), nullptr, nullptr), -1);
    EXPECT_EQ(tvx_elem_strncmp(nullptr, "x", 1, nullptr), -1);

    EXPECT_EQ(tvx_string_elem_new(nullptr), nullptr);
    EXPECT_EQ(tvx_exception_elem_new(nullptr, 1), nullptr);
    tvx_elem_free(nullptr);
    EXPECT_EQ(tvx_elem_clone(nullptr), nullptr);
    EXPECT_FALSE(tvx_elem_is_exception(nullptr));
    EXPECT_FALSE(tvx_elem_instance_of(e.get(), nullptr));
    EXPECT_EQ(tvx_elem_get_num_children(nullptr), -1);
    tvx_elem_print(nullptr, e.get());

    EXPECT_EQ(tvx_list_elem_get_child(nullptr, 0), nullptr);
    EXPECT_EQ(tvx_list_elem_remove_children(nullptr), OPERATION_FAILED_NOT_SUPPORTED);
    EXPECT_EQ(tvx_map_elem_get_child(e.get(), nullptr), nullptr);
    EXPECT_FALSE(tvx_map_elem_has_child(e.get(), nullptr));
    EXPECT_EQ(tvx_map_elem_remove_child(e.get(), nullptr, nullptr), nullptr);
    EXPECT_EQ(tvx_iterator_new(nullptr), nullptr);
    EXPECT_NE(tvx_iterator_last(nullptr), 0);
    EXPECT_EQ(tvx_iterator_next(nullptr), 0);
    tvx_iterator_free(nullptr);
}

TEST(Capi, ResultsHaveNames)
{
    EXPECT_STREQ(tvx_result_to_string(OPERATION_OK), "OPERATION_OK");
    EXPECT_STREQ(tvx_result_to_string(OPERATION_INDEX_OUT_OF_BOUNDS), "OPERATION_INDEX_OUT_OF_BOUNDS");
    EXPECT_STREQ(tvx_result_to_string(OPERATION_FAILED_OUT_OF_MEMORY), "OPERATION_FAILED_OUT_OF_MEMORY");
    EXPECT_STREQ(tvx_result_to_string(static_cast<TvxResult>(6)), "Unknown error");
}

} // namespace
