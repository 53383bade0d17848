#include "elements/SampleTrees.h"
#include "tavix/elements/FileDescriptorVisitor.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace {

using namespace Tavix;
using namespace std::string_literals;
using SampleTrees::CountedElem;
using SampleTrees::describe;
using SampleTrees::Tree;

TEST(MapElem, KeepsItsNamesSortedByBytes)
{
    MapElem map;
    for (std::string const& name : {"b"s, "\xFF"s, "a"s, "a\0"s, "ab"s, "\x01"s, "\x80"s})
        map.addChild(name, new NullElem);
    std::string names;
    for (auto const& entry : map)
        names += entry.first + ";";
    EXPECT_EQ(names, "\x01;a;a\0;ab;b;\x80;\xFF;"s);
}

TEST(MapElem, ReplacesAndRemovesByName)
{
    MapElem map;
    EXPECT_EQ(map.addChild("x", new CountedElem), OPERATION_OK);
    EXPECT_EQ(map.addChild("x", new CountedElem), OPERATION_OK);
    EXPECT_EQ(map.setChild("x", new CountedElem), OPERATION_OK);
    EXPECT_EQ(CountedElem::alive, 1);
    // Storing the child that is there already must not delete it.
    map.addChild("x", map.getChild("x"));
    EXPECT_EQ(CountedElem::alive, 1);

    TvxResult result;
    Tree const removed(map.removeChild("x", result));
    EXPECT_EQ(result, OPERATION_OK);
    EXPECT_EQ(CountedElem::alive, 1);
    EXPECT_EQ(map.removeChild("x", result), nullptr);
    EXPECT_EQ(result, OPERATION_FAILED_NO_SUCH_CHILD);
    EXPECT_EQ(map.getNumChildren(), 0);
}

TEST(MapElem, TakesAnIndexAsAName)
{
    MapElem map;
    map.addChild(7, new IntegerElem(70));
    EXPECT_EQ(map.getChild("7")->intValue(), 70);
    EXPECT_TRUE(map.hasChild(7));
    EXPECT_FALSE(map.hasChild(0));
    std::unique_ptr<ElementIterator> const entry(map.iterator());
    EXPECT_EQ(entry->nextIndex(), 7u);
    entry->next();
    EXPECT_EQ(entry->next(), nullptr);
    EXPECT_EQ(entry->nextName(), "");
}

TEST(MapElem, TellsANullChildFromNone)
{
    MapElem map;
    map.addChild("x", nullptr);
    EXPECT_TRUE(map.hasChild("x"));
    EXPECT_EQ(map.getChild("x"), nullptr);
    EXPECT_EQ(map.getNumChildren(), 1);
    EXPECT_EQ(map.setChild("x", new CountedElem), OPERATION_FAILED_NO_SUCH_CHILD);
    EXPECT_EQ(CountedElem::alive, 0);
}

// Many entries stand in several blocks: any order of insertion and removal must leave what a plain map has.
TEST(MapElem, HoldsManyEntriesInAnyOrder)
{
    std::mt19937 source(1);
    for (int const order : {0, 1, 2}) {
        MapElem map;
        std::map<std::string, int> expected;
        for (int i = 0; i < 3000; ++i) {
            std::string name = std::to_string(order == 0   ? 10000 + i
                                              : order == 1 ? 90000 - i
                                                           : source() % 4000);
            expected[name] = i;
            map.addChild(name, new IntegerElem(i));
            if (i % 3 == 2) {
                auto const from = expected.lower_bound(std::to_string(source() % 9));
                name = from == expected.end() ? expected.begin()->first : from->first;
                TvxResult result;
                EXPECT_EQ(Tree(map.removeChild(name, result))->intValue(), expected[name]);
                expected.erase(name);
            }
        }
        ASSERT_EQ(map.size(), expected.size());
        auto const same = [](auto const& entry, auto const& other) {
            return entry.first == other.first && entry.second->intValue() == other.second;
        };
        auto other = expected.begin();
        for (auto const& entry : map)
            EXPECT_TRUE(same(entry, *other++)) << entry.first;
        for (auto const& entry : expected)
            EXPECT_EQ(map.getChild(entry.first)->intValue(), entry.second);
    }
}

TEST(ListElem, InsertsReplacesAndRemoves)
{
    ListElem list;
    list.add(1)->add(true)->add("x"s);
    EXPECT_EQ(list.addChild(1, new CountedElem), OPERATION_OK);
    EXPECT_EQ(list.setChild(1, new IntegerElem(5)), OPERATION_OK);
    EXPECT_EQ(CountedElem::alive, 0);
    EXPECT_EQ(list.addChild("4", new StringElem("last")), OPERATION_OK);
    TvxResult result;
    Tree const removed(list.removeChild(0, result));
    std::unique_ptr<std::string> const text(list.childrenToString());
    EXPECT_EQ(*text, "<List :i 5 :b true : x : last>");
    EXPECT_EQ(list.removeChild(4, result), nullptr);
    EXPECT_EQ(result, OPERATION_INDEX_OUT_OF_BOUNDS);
    EXPECT_EQ(list.getChild("abc"), list.getChild(0));
    EXPECT_EQ(list.getChild("4294967296"), nullptr);
    EXPECT_EQ(list.getChild("-1"), nullptr);
    EXPECT_EQ(list.getChildName(list.getChild(2)), "2");
}

TEST(ListElem, IteratesPastTheEndByStartingAgain)
{
    ListElem list;
    list.add(1)->add(2);
    std::unique_ptr<ElementIterator> const children(list.iterator());
    EXPECT_EQ(children->next(), list.getChild(0));
    EXPECT_EQ(children->nextName(), "1");
    EXPECT_EQ(children->next(), list.getChild(1));
    EXPECT_FALSE(children->hasNext());
    EXPECT_EQ(children->nextIndex(), 0u);
    EXPECT_EQ(children->next(), list.getChild(0));
}

TEST(Containers, ConsumeWhatTheyRefuse)
{
    ListElem list;
    MapElem map;
    testing::internal::CaptureStderr();
    EXPECT_EQ(list.addChild(1, new CountedElem), OPERATION_INDEX_OUT_OF_BOUNDS);
    EXPECT_EQ(list.setChild(0, new CountedElem), OPERATION_INDEX_OUT_OF_BOUNDS);
    EXPECT_EQ(map.setChild("missing", new CountedElem), OPERATION_FAILED_NO_SUCH_CHILD);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ListElem::addChild() bad index, delete 'e'\n"
                                                      "ListElem::setChild() bad index, delete 'e'\n"
                                                      "MapElem::setChild() bad name, delete 'e'\n");
    EXPECT_EQ(CountedElem::alive, 0);
}

TEST(Containers, DeleteAndCloneTheWholeTree)
{
    {
        MapElem map;
        auto* const list = new ListElem;
        list->add(new CountedElem)->add(static_cast<Element*>(nullptr));
        map.addChild("list", list);
        map.addChild("leaf", new CountedElem);
        EXPECT_EQ(CountedElem::alive, 2);
        EXPECT_EQ(list->removeChildren(), OPERATION_OK);
        EXPECT_EQ(CountedElem::alive, 1);
    }
    EXPECT_EQ(CountedElem::alive, 0);

    Tree const tree = SampleTrees::everyKind();
    Tree const copy(tree->clone());
    EXPECT_EQ(describe(copy.get()), describe(tree.get()));
    copy->getChild("list")->getChild(0)->setValue(99);
    EXPECT_EQ(tree->getChild("list")->getChild(0)->intValue(), 1);
}

TEST(Containers, PrintOneLinePerNodeAndAtMost25Levels)
{
    auto* const list = new ListElem;
    list->add(1)->add(static_cast<Element*>(nullptr));
    MapElem map;
    map.addChild("list", list);
    testing::internal::CaptureStdout();
    map.print("root");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              " root : Map \r\n    list : List \r\n       0 : :i 1 \r\n       1 : :null \r\n");

    Tree const deep = SampleTrees::nested(40);
    testing::internal::CaptureStdout();
    deep->print("x");
    std::string const printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 27);
    std::string const last = "MAX NUMBER OF LEVEL REACHED!\r\n";
    EXPECT_EQ(printed.substr(printed.size() - last.size()), last);
}

TEST(FileDescriptorVisitor, FindsEveryDescriptorOnce)
{
    Tree const tree = SampleTrees::everyKind();
    std::string found;
    auto const note = [](void* context, FileDescriptorElem* e, std::string const& key) {
        *static_cast<std::string*>(context) += key + e->stringValue() + " ";
    };
    FileDescriptorVisitor visitor(note, &found, "key");
    tree->accept(&visitor);
    EXPECT_EQ(found, "key7 key8 ");
}

} // namespace
