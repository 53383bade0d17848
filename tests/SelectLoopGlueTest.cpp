// What select adds to the contract of all loops: its limits, its assertions and its threads.
#include "tavix/SelectLoopGlue.h"

#include "support/SocketPair.h"
#include "tavix/foundation/Semaphore.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>

using namespace Tavix;

namespace {

// What happens in the moments around this thread's next select, and what its last one answered.
thread_local std::function<void()> beforeSelect, afterSelect;
thread_local int found;

} // namespace

extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* limit)
{
    if (beforeSelect)
        std::exchange(beforeSelect, nullptr)();
    const timespec time = limit ? timespec{limit->tv_sec, limit->tv_usec * 1000} : timespec{};
    found = pselect(count, read, write, except, limit ? &time : nullptr, nullptr);
    if (afterSelect)
        std::exchange(afterSelect, nullptr)();
    return found;
}

namespace {

void countCall(void**, void* calls)
{
    ++*static_cast<int*>(calls);
}

void** makeSource(SelectLoopGlue& loop, int fd)
{
    void** source = nullptr;
    EXPECT_EQ(0, loop.newSource(fd, &source));
    loop.sourceAddWatch(source, kReadWatch);
    return source;
}

TEST(SelectLoopGlue, refusesDescriptorsThatDoNotFitTheSets)
{
    SelectLoopGlue loop;
    for (int fd : {-1, FD_SETSIZE}) {
        void** source = makeSource(loop, fd);
        testing::internal::CaptureStderr();
        EXPECT_NE(0, loop.addSource(source, countCall, nullptr));
        EXPECT_EQ(0u, testing::internal::GetCapturedStderr().find("SelectLoopGlue: cannot watch descriptor " +
                                                                  std::to_string(fd)));
        EXPECT_EQ(0, loop.deleteSource(source)); // stops the process when it is registered
    }
}

TEST(SelectLoopGlueDeathTest, faultsOfTheCallerStopTheProcess)
{
    SocketPair sockets;
    SelectLoopGlue loop;
    void** source = makeSource(loop, sockets.near());
    ASSERT_EQ(0, loop.addSource(source, countCall, nullptr));
    char const* const registered = "Assertion `lookupDescriptorInfo == __null' failed";
    EXPECT_DEATH(loop.addSource(nullptr, countCall, nullptr), "Assertion `source' failed");
    EXPECT_DEATH(loop.deleteSource(source), registered);
    EXPECT_DEATH(loop.addSource(makeSource(loop, sockets.near()), countCall, nullptr), registered);
    EXPECT_DEATH(
        {
            close(sockets.near());
            loop.iterate();
        },
        "select: Bad file descriptor\n.*bad FD .*you must removeSource before closing!\n.*Assertion");
}

TEST(SelectLoopGlue, descriptorRemovedInOrderMayBeClosedOnTheWayIntoSelect)
{
    SelectLoopGlue loop;
    SocketPair sockets;
    void** source = makeSource(loop, sockets.near());
    loop.addSource(source, countCall, nullptr);
    beforeSelect = [&] {
        loop.removeSource(source);
        loop.deleteSource(source);
        close(sockets.giveNear());
    };
    testing::internal::CaptureStderr();
    loop.iterate();
    EXPECT_EQ("select: Bad file descriptor\n", testing::internal::GetCapturedStderr());
}

TEST(SelectLoopGlue, newSourceIsNotTakenForTheOneThatHadItsNumber)
{
    SelectLoopGlue loop;
    SocketPair sockets;
    sockets.closeFar();
    int calls = 0;
    void** ready = makeSource(loop, sockets.near());
    void** successor = makeSource(loop, sockets.near());
    loop.addSource(ready, countCall, nullptr);
    afterSelect = [&] {
        loop.removeSource(ready);
        loop.addSource(successor, countCall, &calls);
    };
    loop.iterate();
    EXPECT_EQ(0, calls);
    loop.iterate();
    EXPECT_EQ(1, calls);
    loop.removeSource(successor);
    loop.deleteSource(successor);
    loop.deleteSource(ready);
}

// Each change comes from another thread when the sets are filled already.
// A thread on its way into a pass may wait for what another thread has just ended with the last source.
TEST(SelectLoopGlueThreads, passBehindARemovalDoesNotBlock)
{
    SocketPair sockets;
    SelectLoopGlue loop;
    void** source = makeSource(loop, sockets.near());
    ASSERT_EQ(0, loop.addSource(source, countCall, nullptr));
    std::thread([&] {
        loop.removeSource(source);
        loop.deleteSource(source);
    }).join();
    loop.iterate(); // would block for good
}

TEST(SelectLoopGlueThreads, changesEndTheWait)
{
    Ferrule::Semaphore end(0);
    std::thread other([&] { end.wait(); }); // a process of one thread does without wake-ups
    SelectLoopGlue loop;
    SocketPair ready;
    ready.closeFar();
    int calls = 0;
    void** source = makeSource(loop, ready.near());
    const std::function<void()> changes[] = {
        [&] { loop.addSource(source, countCall, &calls); }, [&] { loop.sourceAddWatch(source, kWriteWatch); },
        [&] { loop.sourceRemoveWatch(source, kReadWatch | kWriteWatch); },
        [&] { loop.sourceAddWatch(source, kReadWatch); }};
    for (auto const& change : changes) {
        std::thread changing;
        beforeSelect = [&] { changing = std::thread(change); };
        loop.iterate();
        changing.join();
    }
    EXPECT_EQ(2, calls);
    loop.iterate();
    EXPECT_EQ(3, calls);
    EXPECT_EQ(1, found); // nothing is left of the wake-ups
    loop.removeSource(source);
    loop.deleteSource(source);
    end.post();
    other.join();
}

} // namespace
