// Property maps and the trees made of them: sound blocks, the deepest one, and every damaged form of a block.

#include "tavix/elements/MapElemImport.h"

#include "tavix/elements/JsonVisitor.h"
#include "tavix/elements/Limits.h"
#include "tavix/foundation/PropertyMapWriter.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

using namespace Tavix;
using Block = std::vector<unsigned char>;

Block blockOf(PropertyMapWriter&& writer)
{
    return Block(writer.data(), writer.data() + writer.size());
}

Block sample()
{
    PropertyMapWriter inner, writer;
    inner.addMap(-1, PropertyMapWriter());
    inner.addText(3, "inner");
    writer.addBoolean(1, true);
    writer.addInteger(2, -70000);
    writer.addFloat(12, 0.5f);
    writer.addDouble(4, -1.25);
    writer.addText(5, std::string_view("text\0cut", 8));
    writer.addBinary(6, reinterpret_cast<unsigned char const*>("\0\xff"), 2);
    writer.addBinary(8, nullptr, 9);
    writer.addMap(7, inner);
    writer.addInteger(1, 9);
    return blockOf(std::move(writer));
}

std::string imported(PropertyMap const& map)
{
    std::unique_ptr<MapElem> const tree(MapElem::create_raw(map));
    return tree ? JsonVisitor::toJsonString(tree.get()) : "null";
}

// What an application asks before it imports a map that it was sent. Fetches every value on the way.
bool holdsPointer(PropertyMap const& map)
{
    for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i) {
        Block value(i.getDataSize());
        unsigned written = 0;
        bool const fetched = i.get(value.data(), i.getDataSize(), &written);
        EXPECT_EQ(written, fetched ? value.size() : 0);
        if (i.getType() == PropertyMap::PM_POINTER_TYPE || i.getType() == PropertyMap::PM_MAX_TYPE ||
            (i.getType() == PropertyMap::PM_MAP_TYPE && holdsPointer(PropertyMap(value.data()))))
            return true;
    }
    return false;
}

// Reads the block where nothing but its own bytes may be touched. True when all of it was read.
bool attack(Block block)
{
    block.shrink_to_fit();
    PropertyMap const map(block.data(), block.size());
    bool const pointer = holdsPointer(map);
    EXPECT_TRUE(map.isWhole() ? pointer || !imported(map).empty() : imported(map) == "null");
    return map.isWhole();
}

void setLength(Block& block)
{
    block[6] = static_cast<unsigned char>(block.size() >> 8);
    block[7] = static_cast<unsigned char>(block.size());
}

TEST(PropertyMap, BecomesATree)
{
    Block block = sample();
    EXPECT_EQ(
        imported(PropertyMap(block.data())),
        R"({"1":9,"12":0.500000,"2":-70000,"4":-1.250000,"5":"text","6":"AP8=","7":{"-1":{},"3":"inner"},"8":""})");
    EXPECT_EQ(imported(PropertyMap(blockOf(PropertyMapWriter()).data())), "{}");
    EXPECT_EQ(imported(PropertyMap(nullptr)), "null");

    PropertyMap const map(block.data());
    char text[8];
    int number = 5;
    PropertyMap::Iterator i = map.begin();
    for (int step = 0; step < 4; ++step)
        ++i;
    EXPECT_EQ(PropertyMap::getKey(i.entry()), 5);
    EXPECT_FALSE(i.get(text, 7) || i.get(&number) || getElemValue(map.end()));
    EXPECT_TRUE(i.get(text, 8));
    EXPECT_EQ(std::string(text, 8), std::string("text\0cut", 8));
    EXPECT_EQ(number, 5);
}

TEST(PropertyMap, NoDamageLeadsBeyondTheBlock)
{
    Block const whole = sample();
    int sound = 0;
    for (std::size_t length = 8; length <= whole.size(); ++length) {
        Block cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(attack(cut), length == whole.size());
        setLength(cut);
        sound += attack(cut);
    }
    EXPECT_EQ(sound, 10); // behind the header, and behind each of nine entries
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (int value = 0; value < 256; ++value) {
            Block changed = whole;
            changed[at] = static_cast<unsigned char>(value);
            attack(changed);
        }
    }
}

TEST(PropertyMap, TypesThatAreNoValuesAndTheDeepestTree)
{
    PropertyMapWriter writer;
    writer.addBoolean(0, true);
    for (int type : {7, 8, 9}) {
        Block block(writer.data(), writer.data() + writer.size());
        block[12] = static_cast<unsigned char>(type);
        PropertyMap const map(block.data());
        EXPECT_EQ(getElemValue(map.begin()), nullptr);
        if (type == 9) {
            EXPECT_EQ(imported(map), "null");
            continue;
        }
        EXPECT_DEATH(imported(map), type == 7 ? "PM_POINTER_TYPE' failed" : "PM_MAX_TYPE' failed");
    }
    // The map is the value of a message, so at level 1; the innermost boolean is one deeper than the last map.
    for (unsigned level = 3; level <= Tavix::kMaxNesting + 1; ++level) {
        PropertyMapWriter outer;
        EXPECT_TRUE(outer.addMap(0, writer));
        writer = std::move(outer);
        EXPECT_EQ(imported(PropertyMap(writer.data())) == "null", level > Tavix::kMaxNesting) << level;
    }
}

} // namespace
