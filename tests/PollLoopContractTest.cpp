// What every loop promises.
#include "support/Loops.h"
#include "support/SocketPair.h"
#include "support/Station.h"
#include "tavix/foundation/Semaphore.h"

#include <atomic>
#include <csignal>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using namespace Tavix;

namespace {

class PollLoopContract : public testing::TestWithParam<LoopKind> {
protected:
    void settle()
    {
        for (int pass = 0; loop->check(); ++pass) {
            ASSERT_LT(pass, 200) << "the loop does not come to rest";
            loop->iterate();
        }
    }

    std::unique_ptr<PollLoopIf> loop{GetParam().create()};
};

TEST_P(PollLoopContract, reportsWhatIsWatchedAndReady)
{
    struct {
        bool reading, writing, data;
    } const cases[] = {{true, true, true}, {false, true, true}, {true, false, true}, {true, true, false}};
    Station station(*loop, 0);
    for (auto const& c : cases) {
        if (c.data)
            station.send();
        station.watch(kReadWatch, c.reading);
        station.watch(kWriteWatch, c.writing);
        station.readable = station.writable = false;
        loop->iterate();
        EXPECT_EQ(c.reading && c.data, station.readable);
        EXPECT_EQ(c.writing, station.writable);
        while (station.receive()) {
        }
    }
}

TEST_P(PollLoopContract, callsAgainWhileReady)
{
    Station station(*loop, kReadWatch);
    EXPECT_FALSE(loop->check());
    station.send();
    for (int pass = 1; pass <= 2; ++pass) {
        EXPECT_TRUE(loop->check());
        loop->iterate();
        EXPECT_EQ(pass, station.calls);
    }
    EXPECT_TRUE(station.receive());
    EXPECT_FALSE(loop->check());
}

TEST_P(PollLoopContract, callbackMayRemoveAndAddSources)
{
    std::unique_ptr<Station> stations[2];
    std::unique_ptr<Station> added; // has the numbers of the one that is closed in its favour
    int calls = 0;
    for (auto& station : stations) {
        station = std::make_unique<Station>(*loop, kReadWatch);
        station->send();
        station->action = [&] {
            ++calls;
            station->remove();
            stations[&station == &stations[0]].reset();
            added = std::make_unique<Station>(*loop, kReadWatch);
            added->send();
        };
    }
    loop->iterate();
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0, added->calls);
    loop->iterate();
    EXPECT_EQ(1, added->calls);
}

// Three are ready; whichever is called first iterates until all have been read. The pass outside then tells
// none of them of what is no longer there, and neither is the one that iterated told of it.
TEST_P(PollLoopContract, nestedPassUsesUpReadiness)
{
    std::deque<Station> stations;
    int received = 0;
    for (int i = 0; i < 3; ++i) {
        Station& station = stations.emplace_back(*loop, kReadWatch);
        station.send();
        station.action = [&] {
            const bool outermost = received == 0;
            if (outermost)
                station.send(); // for the nested pass to find
            if (std::exchange(station.readable, false)) {
                EXPECT_TRUE(station.receive());
                ++received;
            }
            while (outermost && received < 4)
                loop->iterate();
            bool readable = false;
            loop->sourceIsReadable(station.source, readable);
            EXPECT_FALSE(outermost && readable);
        };
    }
    loop->iterate();
    EXPECT_EQ(4, received);
}

TEST_P(PollLoopContract, checkInACallbackLosesNothing)
{
    Station first(*loop, kReadWatch);
    Station second(*loop, kReadWatch);
    for (Station* station : {&first, &second}) {
        station->send();
        station->action = [=] {
            const bool more = loop->check();
            EXPECT_TRUE(!station->receive() || more);
        };
    }
    settle();
    EXPECT_TRUE(first.readable && second.readable);
}

// A callback iterates until another one, called within, has removed both of them and one that has had no turn.
TEST_P(PollLoopContract, anySourceMayGoInANestedPass)
{
    std::deque<Station> stations;
    int depth = 0;
    for (int i = 0; i < 3; ++i) {
        Station& station = stations.emplace_back(*loop, kReadWatch);
        station.send();
        station.action = [&] {
            station.receive();
            if (++depth == 1) {
                while (depth < 2)
                    loop->iterate();
            } else {
                for (Station& each : stations)
                    each.remove();
            }
        };
    }
    loop->iterate();
    EXPECT_EQ(2, depth);
}

TEST_P(PollLoopContract, hangUpIsReadableToThoseWhoWatch)
{
    Station watching(*loop, kReadWatch);
    Station resting(*loop, kReadWatch);
    resting.watch(kReadWatch, false);
    resting.sockets.closeFar();
    settle();
    EXPECT_EQ(0, resting.calls);
    watching.sockets.closeFar();
    resting.watch(kReadWatch, true);
    loop->iterate();
    EXPECT_TRUE(watching.readable && resting.readable);
}

// Whichever comes first throws, also out of a pass within its callback.
TEST_P(PollLoopContract, exceptionsLeaveThroughTheLoop)
{
    Station first(*loop, kReadWatch);
    Station second(*loop, kReadWatch);
    for (Station* station : {&first, &second}) {
        station->send();
        station->action = [&, station] {
            if (first.calls + second.calls < 3)
                loop->iterate();
            station->receive();
            throw std::string("thrown");
        };
    }
    EXPECT_THROW(loop->iterate(), std::string);
    EXPECT_EQ(3, first.calls + second.calls);
    first.action = second.action = nullptr;
    first.send();
    second.send();
    std::thread([&] { loop->iterate(); }).join(); // nothing stays locked or owned
    EXPECT_TRUE(loop->check());
}

// Programs look at what a handler of theirs has noted when the pass is over.
TEST_P(PollLoopContract, aSignalEndsAPass)
{
    Station station(*loop, kReadWatch);
    auto* const before = signal(SIGUSR1, [](int) {});
    std::atomic<bool> over{false};
    std::thread runner([&] {
        loop->iterate();
        over = true;
    });
    while (!over)
        pthread_kill(runner.native_handle(), SIGUSR1);
    runner.join();
    signal(SIGUSR1, before);
    EXPECT_EQ(0, station.calls);
}

// More than one pass of epoll takes.
TEST_P(PollLoopContract, everyOneOfManyHasItsTurn)
{
    std::deque<Station> stations;
    for (int i = 0; i < 70; ++i) {
        Station& station = stations.emplace_back(*loop, kReadWatch);
        station.send();
        station.action = [&] { station.receive(); };
    }
    settle();
    for (Station const& station : stations)
        EXPECT_TRUE(station.readable);
}

// One thread runs the loop, two others change it and wait for what comes of that. In the end a removal alone has to
// bring the thread out of the loop.
TEST_P(PollLoopContract, changesByOtherThreadsReachTheLoop)
{
    std::deque<Ferrule::Semaphore> called[2]; // outlive their sources, as a call may be under way
    std::atomic<int> changing{2};
    std::thread runner([&] {
        while (changing > 0)
            loop->iterate();
    });
    auto change = [&](std::deque<Ferrule::Semaphore>& calls) {
        SocketPair sockets;
        sockets.closeFar();
        for (int round = 0; round < 300; ++round) {
            void** source = nullptr;
            loop->newSource(sockets.near(), &source);
            if (round % 2 == 0)
                loop->sourceAddWatch(source, kReadWatch);
            auto post = [](void**, void* semaphore) { static_cast<Ferrule::Semaphore*>(semaphore)->post(); };
            EXPECT_EQ(0, loop->addSource(source, post, &calls.emplace_back(0)));
            loop->sourceAddWatch(source, kWriteWatch);
            calls.back().wait();
            loop->sourceRemoveWatch(source, round % 3 == 0 ? kReadWatch | kWriteWatch : kWriteWatch);
            for (int i = 0; i < 1000 && round == 299; ++i)
                std::this_thread::yield(); // for the runner to go to sleep
            changing -= round == 299;
            EXPECT_EQ(0, loop->removeSource(source));
            EXPECT_EQ(0, loop->deleteSource(source));
        }
    };
    std::thread others[] = {std::thread(change, std::ref(called[0])),
                            std::thread(change, std::ref(called[1]))};
    for (std::thread& other : others)
        other.join();
    runner.join();
}

// The thread on its way into the loop may be waiting for what went with the source.
TEST_P(PollLoopContract, aPassBehindARemovalByAnotherThreadDoesNotBlock)
{
    Station station(*loop, kReadWatch);
    std::thread([&] { station.remove(); }).join();
    loop->iterate();
    EXPECT_EQ(0, station.calls);
}

INSTANTIATE_TEST_SUITE_P(Loops, PollLoopContract, testing::ValuesIn(kLoopKinds),
                         [](auto const& info) { return info.param.name; });

} // namespace
