#ifndef TAVIX_TESTS_SUPPORT_STATION_H
#define TAVIX_TESTS_SUPPORT_STATION_H

#include "support/SocketPair.h"
#include "tavix/PollLoopIf.h"

#include <functional>
#include <gtest/gtest.h>

// A registered source over one end of a socket pair. Its callback notes what the loop reports.
struct Station {
    Station(Tavix::PollLoopIf& loop, unsigned watch) : loop(loop)
    {
        EXPECT_EQ(0, loop.newSource(sockets.near(), &source));
        if (watch) {
            EXPECT_EQ(0, loop.sourceAddWatch(source, watch));
        }
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
        bool found = false;
        self.loop.sourceIsReadable(source, found);
        self.readable |= found;
        self.loop.sourceIsWritable(source, found);
        self.writable |= found;
        if (self.action)
            self.action();
    }

    Tavix::PollLoopIf& loop;
    SocketPair sockets;
    void** source = nullptr;
    std::function<void()> action;
    int calls = 0;
    bool readable = false; // in any call
    bool writable = false;
};

#endif
