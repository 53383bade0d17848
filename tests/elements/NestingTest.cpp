// The deepest tree that travels must be safe on a small stack, and a deeper one must be refused before it hurts.

#include "elements/SampleTrees.h"
#include "support/SmallStack.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/elements/JsonVisitor.h"

#include <gtest/gtest.h>

namespace {

using namespace Tavix;
using namespace SampleTrees;

std::string errorOf(Element* value)
{
    EESVisitor visitor;
    visitor.startMessage(CallMethod, 1, "clock", "now");
    value->accept(&visitor);
    return visitor.getError();
}

TEST(Nesting, TheDeepestTreeIsSafeOnASmallStack)
{
    onSmallStack([] {
        Tree const tree = nested(kMaxNesting);
        std::string const sent = call(tree.get());
        ASSERT_FALSE(sent.empty());
        Tree const root = parsed(sent);
        ASSERT_TRUE(root);
        Tree const copy(root->clone());
        EXPECT_EQ(call(copy->getChild("params")), sent);

        FILE* const nowhere = fopen("/dev/null", "w");
        copy->print(nowhere, "root");
        fclose(nowhere);
        EXPECT_TRUE(copy->instanceOf("MapElem"));
        EXPECT_NE(JsonVisitor::toJsonString(copy.get()).find("innermost"), std::string::npos);
        FileDescriptorVisitor visitor([](void*, FileDescriptorElem*, std::string const&) {}, nullptr, "");
        copy->accept(&visitor);
    });
}

TEST(Nesting, ADeeperTreeIsRefusedWithItsPlace)
{
    Tree const tree = nested(kMaxNesting + 1);
    std::string path = "\"params\"";
    for (unsigned level = 0; level < kMaxNesting; ++level)
        path += level % 2 == 0 ? "/0" : "/\"key\"";
    EXPECT_EQ(errorOf(tree.get()), path + ": nested deeper than 128 levels");
}

TEST(Nesting, ATreeOfAnyDepthIsRefusedWithoutGoingDown)
{
    onSmallStack([] {
        Tree tree = nested(100000);
        EXPECT_NE(errorOf(tree.get()).find(": nested deeper than 128 levels"), std::string::npos);
        // Its end, too, must not go down.
        TvxResult result;
        while (tree->getNumChildren() == 1)
            tree.reset(tree->removeChild(tree->isMap() ? "key" : "0", result));
    });
}

TEST(Nesting, ADeeperMessageCannotBeDecoded)
{
    onSmallStack([] {
        // The root map is level 0 and its value level 1.
        auto const received = [](unsigned level) {
            std::string node = text("innermost");
            for (; level > 1; --level)
                node = container(level % 3 == 0 ? kNodeList : kNodeMap, level % 3 == 0 ? 1 : 2,
                                 level % 3 == 0 ? node : text("k") + node);
            return std::string(kHeaderLength - 10, '\0') + "\2" + std::string(9, '\0') +
                   container(kNodeMap, 2, text("params") + node);
        };
        EXPECT_TRUE(parsed(received(kMaxNesting)));
        EXPECT_FALSE(parsed(received(kMaxNesting + 1)));
        EXPECT_FALSE(parsed(received(10000)));
        std::string descriptors(24000 * 8, '\0');
        for (std::size_t at = 0; at < descriptors.size(); at += 8)
            descriptors[at] = kNodeFileDescriptor;
        EXPECT_FALSE(parsed(std::string(7, '\0') + "\2" + std::string(9, '\0') + descriptors));
    });
}

} // namespace
