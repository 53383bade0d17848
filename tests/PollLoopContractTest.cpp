// What every loop promises. A new loop enters the list at the end.
#include "support/SocketPair.h"
#include "tavix/SelectLoopGlue.h"

#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

using namespace Tavix;

namespace {

struct LoopKind {
    char const* name;
    PollLoopIf* (*create)();
};

// A registered source over one end of a socket pair. Its callback notes what the loop reports.
struct Station {
    Station(PollLoopIf& loop, unsigned watch) : loop(loop)
    {
        EXPECT_EQ(0, loop.newSource(sockets.near(), &source));
        EXPECT_EQ(0, loop.sourceAddWatch(source, watch));
        EXPECT_EQ(0, loop.addSource(source, onEvent, this));
    }
    ~Station() { remove(); }

    void remove()
    {
        if (!source)
            return;
        EXPECT_EQ(0, loop.removeSource(source));
        EXPECT_EQ(0, loop.deleteSource(source));
        source = nullptr;
    }

    void watch(unsigned watch, bool on)
    {
        EXPECT_EQ(0, on ? loop.sourceAddWatch(source, watch) : loop.sourceRemoveWatch(source, watch));
    }

    void send() { EXPECT_EQ(1, write(sockets.far(), "x", 1)); }
    bool receive()
    {
        char byte;
        return read(sockets.near(), &byte, 1) == 1;
    }

    static void onEvent(void** source, void* context)
    {
        Station& self = *static_cast<Station*>(context);
        EXPECT_EQ(self.source, source);
        ++self.calls;
        self.loop.sourceIsReadable(source, self.readable);
        self.loop.sourceIsWritable(source, self.writable);
        if (self.action)
            self.action();
    }

    PollLoopIf& loop;
    SocketPair sockets;
    void** source = nullptr;
    std::function<void()> action;
    int calls = 0;
    bool readable = false;
    bool writable = false;
};

class PollLoopContract : public testing::TestWithParam<LoopKind> {
protected:
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
    Station first(*loop, kReadWatch);
    Station second(*loop, kReadWatch);
    std::unique_ptr<Station> added;
    first.action = second.action = [&] {
        first.remove();
        second.remove();
        added = std::make_unique<Station>(*loop, kReadWatch);
        added->send();
    };
    first.send();
    second.send();
    loop->iterate();
    EXPECT_EQ(1, first.calls + second.calls);
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
            if (station.readable) {
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

TEST_P(PollLoopContract, checkInACallbackTakesNoTurnAway)
{
    Station first(*loop, kReadWatch);
    Station second(*loop, kReadWatch);
    first.action = second.action = [&] { EXPECT_TRUE(loop->check()); };
    first.send();
    second.send();
    loop->iterate();
    EXPECT_TRUE(first.readable && second.readable);
}

INSTANTIATE_TEST_SUITE_P(Loops, PollLoopContract, testing::Values(LoopKind{"select", select_loop_glue_new}),
                         [](auto const& info) { return info.param.name; });

} // namespace
