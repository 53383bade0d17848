#include "tavix/foundation/DynamicLookupTable.h"
#include "tavix/foundation/FixedArrayList.h"
#include "tavix/foundation/SharedPtr.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Ferrule::DynamicArrayList;
using Ferrule::DynamicLookupTable;
using Ferrule::FixedArrayList;
using Ferrule::LessOperator;

template <class T>
std::vector<T> contents(Ferrule::ArrayList<T> const& list)
{
    std::vector<T> result;
    for (unsigned i = 0; i < list.getSize(); ++i)
        result.push_back(list[i]);
    return result;
}

template <class List>
void expectListBehaviour(List& list)
{
    EXPECT_TRUE(list.isEmpty());
    for (char const* item : {"a", "b", "d"})
        EXPECT_EQ(list.append(item), 0);
    EXPECT_EQ(list.insert(2, "c"), 0);
    EXPECT_EQ(list.append(list[3]), 0); // grows: the item moves meanwhile
    EXPECT_NE(list.insert(6, "x"), 0);
    EXPECT_EQ(list.remove(0), 0);
    EXPECT_NE(list.remove(4), 0);
    EXPECT_EQ(contents(list), (std::vector<std::string>{"b", "c", "d", "d"}));
}

TEST(ArrayList, KeepsOrderInBothKindsOfStorage)
{
    FixedArrayList<std::string, 16> fixed;
    expectListBehaviour(fixed);
    DynamicArrayList<std::string, 2> dynamic;
    expectListBehaviour(dynamic);
}

TEST(ArrayList, TakesWhatItHasRoomForAndReleasesWhatGoes)
{
    struct Probe {
        ~Probe() { gone = true; }
        bool& gone;
    };
    bool gone = false;
    FixedArrayList<SharedPtr<Probe>, 2> list;
    EXPECT_EQ(list.append(SharedPtr<Probe>(new Probe{gone})), 0);
    EXPECT_EQ(list.append(list[0]), 0);
    EXPECT_NE(list.append(list[0]), 0);
    list.remove(1);
    EXPECT_FALSE(gone);
    list.remove(0);
    EXPECT_TRUE(gone);
}

// As many arrays of these can be had as a test says.
struct Scarce {
    static void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
    {
        return arraysLeft-- > 0 ? ::operator new(size) : nullptr;
    }
    static void operator delete[](void* block) { ::operator delete(block); }
    static int arraysLeft;
    int value = 0;
};
int Scarce::arraysLeft;

TEST(ArrayList, StaysAsItWasWhenItCannotGrow)
{
    DynamicArrayList<Scarce, 2> list;
    Scarce::arraysLeft = 1;
    EXPECT_EQ(list.append(Scarce{1}), 0);
    EXPECT_EQ(list.append(Scarce{2}), 0);
    EXPECT_NE(list.append(Scarce{3}), 0);
    EXPECT_EQ(list.getSize(), 2u);
    EXPECT_EQ(list[1].value, 2);
    Scarce::arraysLeft = 20; // enough for a thousand
    while (list.append(Scarce{}) == 0 && list.getSize() < 1000) {
    }
    EXPECT_EQ(list.getSize(), 1000u);
}

TEST(ArrayListDeathTest, AnIndexPastTheEndGivesTheLastItemIfThereIsOne)
{
    FixedArrayList<int, 4> list;
    EXPECT_DEATH(list[0], "test '!isEmpty\\(\\)' failed");
    list.append(7);
    list.append(8);
    testing::internal::CaptureStderr();
    EXPECT_EQ(list[2], 8);
    EXPECT_EQ(list[4000000000u], 8);
    std::string const report = testing::internal::GetCapturedStderr();
    EXPECT_NE(report.find("- test 'index < _size' failed\n"), std::string::npos) << report;
}

using Table = DynamicLookupTable<std::string, int, LessOperator<int>>;

TEST(LookupTable, FindsThePlaceOfAKey)
{
    struct {
        std::vector<int> keys;
        std::vector<unsigned> indexOf; // of the keys from 1 on
    } const cases[] = {{{}, {0}}, {{2}, {0, 0, 1}}, {{2, 4, 6}, {0, 0, 1, 1, 2, 2, 3}}};
    for (auto const& one : cases) {
        Table table;
        for (int key : one.keys)
            table.insert(key, "");
        for (unsigned i = 0; i < one.indexOf.size(); ++i)
            EXPECT_EQ(table.findNearestIndex(static_cast<int>(i) + 1), one.indexOf[i]) << i;
    }
}

TEST(LookupTable, StaysSortedWhileItGrowsAndShrinks)
{
    Table table;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(table.insert(i * 7 % 20, std::to_string(i * 7 % 20)), 0);
    table.insert(3, "three");
    table.remove(0);
    table.remove(19);
    table.remove(100);
    ASSERT_EQ(table.getSize(), 18u);
    for (unsigned i = 0; i < table.getSize(); ++i)
        EXPECT_EQ(table.getEntry(i).key, static_cast<int>(i) + 1);
    EXPECT_EQ(*table.find(3), "three");
    EXPECT_EQ(*table.find(18), "18");
    EXPECT_EQ(table.find(19), nullptr);
    EXPECT_EQ(table.find(0), nullptr);
}

} // namespace
