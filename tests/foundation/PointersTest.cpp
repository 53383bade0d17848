#include "tavix/foundation/NodeAllocator.h"
#include "tavix/foundation/SharedPtr.h"
#include "tavix/foundation/WeakPtr.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct Probe {
    Probe() { ++alive; }
    virtual ~Probe() { --alive; }
    static std::atomic<int> alive;
};
std::atomic<int> Probe::alive{0};

struct DerivedProbe : Probe {};

TEST(SharedPtr, DeletesWithTheLastCopyHoweverItWasMade)
{
    {
        SharedPtr<DerivedProbe> first(new DerivedProbe);
        Probe* const object = first.get();
        SharedPtr<Probe> second(first);
        SharedPtr<Probe> third;
        third = first;
        first = SharedPtr<DerivedProbe>();
        second = SharedPtr<Probe>(std::move(third));
        EXPECT_EQ(third.get(), nullptr);
        EXPECT_EQ(Probe::alive, 1);
        EXPECT_EQ(second.get(), object);
        second = *&second;
        EXPECT_EQ(Probe::alive, 1);
        SharedPtr<Probe> other(new Probe);
        second = other;
        EXPECT_EQ(Probe::alive, 1);
        EXPECT_EQ(WeakPtr<Probe>(other).get(), second.get());
    }
    EXPECT_EQ(Probe::alive, 0);
}

TEST(SharedPtr, AnObjectThatGoesMayLookAtThePointerThatHeldIt)
{
    struct Node {
        ~Node() { seen = holder->get(); }
        SharedPtr<Node>* holder;
        Node*& seen;
    };
    Node* seen = nullptr;
    SharedPtr<Node> holder;
    SharedPtr<Node> const second(new Node{&holder, seen});
    Node* const third = new Node{&holder, seen};
    holder = SharedPtr<Node>(new Node{&holder, seen});
    holder = second;
    EXPECT_EQ(seen, second.get());
    holder = SharedPtr<Node>(new Node{&holder, seen});
    holder = SharedPtr<Node>(third);
    EXPECT_EQ(seen, third);
}

TEST(SharedPtr, CountsOnAllThreads)
{
    SharedPtr<Probe> shared(new Probe);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([mine = shared] {
            for (int n = 0; n < 10000; ++n)
                SharedPtr<Probe>(mine).get();
        });
    }
    shared = SharedPtr<Probe>();
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(Probe::alive, 0);
}

TEST(PointerDeathTest, EmptyPointersEndTheProcess)
{
    SharedPtr<std::pair<int, int>> shared;
    WeakPtr<std::pair<int, int>> weak;
    EXPECT_DEATH(shared->first = 1, "SharedPtr.h:[0-9]+ - test 'm_ptr' failed");
    EXPECT_DEATH(weak->first = 1, "WeakPtr.h:[0-9]+ - test 'm_ptr' failed");
}

struct SelfCountedProbe : Probe, Ferrule::SelfCounted {};

TEST(SharedPtr, CountsInAnObjectThatBringsItsCounter)
{
    SharedPtr<SelfCountedProbe> first(new SelfCountedProbe);
    SharedPtr<SelfCountedProbe> second(first);
    first = SharedPtr<SelfCountedProbe>(new SelfCountedProbe);
    EXPECT_EQ(Probe::alive, 2);
    second = first;
    EXPECT_EQ(Probe::alive, 1);
    first = second = SharedPtr<SelfCountedProbe>();
    EXPECT_EQ(Probe::alive, 0);
}

// Each block is filled: two that overlap, or one that is handed out twice, show.
TEST(RecycledNode, GivesEveryObjectMemoryOfItsOwnAcrossThreads)
{
    using Texts = std::vector<std::vector<char, Ferrule::NodeAllocator<char>>>;
    auto const fill = [](Texts& texts) {
        for (std::size_t i = 0; i < texts.size(); ++i)
            texts[i].assign(i % 250 + 1, static_cast<char>(i));
    };
    Texts texts(2000);
    fill(texts);
    for (int round = 0; round < 3; ++round) {
        std::thread([&] { // deletes what the other one has made, and the other way round
            Texts half(texts.begin() + 1000, texts.end());
            texts.resize(500);
            texts.insert(texts.end(), half.begin(), half.end());
            texts.resize(2000);
            fill(texts);
        })
            .join();
        for (std::size_t i = 0; i < texts.size(); ++i)
            EXPECT_EQ(std::count(texts[i].begin(), texts[i].end(), static_cast<char>(i)), i % 250 + 1) << i;
    }
}

} // namespace
