// What the GLib loop adds to the contract of all loops.
#include "tavix/GlibSelectLoop.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace Tavix;

namespace {

struct Reader {
    static void read(void** source, void* reader)
    {
        Reader& self = *static_cast<Reader*>(reader);
        ++self.calls;
        bool again = false;
        self.loop.sourceIsReadable(source, self.readable);
        self.loop.sourceIsReadable(source, again);
        EXPECT_FALSE(again);
    }

    GlibSelectLoop& loop;
    int calls = 0;
    bool readable = false;
};

// The application runs the main loop, and has sources of its own in it.
TEST(GlibSelectLoop, livesInTheMainLoopOfTheApplication)
{
    GlibSelectLoop loop;
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    ASSERT_EQ(1, write(fds[1], "x", 1));
    Reader reader{loop};
    void** source;
    loop.newSource(fds[0], &source);
    loop.sourceAddWatch(source, kReadWatch);
    loop.sourceAddWatch(source, kReadWatch);
    loop.addSource(source, Reader::read, &reader);
    EXPECT_DEATH(loop.sourceAddWatch(source, kReadWatch | kWriteWatch),
                 "Assertion `!\\(\\(watch & 0x01\\) && \\(watch & 0x10\\)\\)' failed");
    GMainLoop* main = g_main_loop_new(nullptr, FALSE);
    auto quit = [](gpointer main) -> gboolean {
        return g_main_loop_quit(static_cast<GMainLoop*>(main)), FALSE;
    };
    g_idle_add_full(G_PRIORITY_DEFAULT, quit, main, nullptr);
    g_main_loop_run(main);
    EXPECT_TRUE(reader.calls == 1 && reader.readable);

    // A pipe that hangs up is told of once.
    char byte;
    EXPECT_EQ(1, ::read(fds[0], &byte, 1));
    close(fds[1]);
    g_idle_add(quit, main); // of a lower priority: it has its turn when the pipe is at rest
    g_main_loop_run(main);
    EXPECT_TRUE(reader.calls == 2 && !reader.readable);
    // Also when the main loop has found the hang-up before somebody was to hear of it.
    loop.removeSource(source);
    loop.sourceAddWatch(source, kReadWatch);
    loop.iterate();
    loop.addSource(source, Reader::read, &reader);
    while (loop.check())
        loop.iterate();
    EXPECT_EQ(3, reader.calls);
    loop.removeSource(source);
    loop.deleteSource(source);
    g_main_loop_unref(main);
    close(fds[0]);
}

} // namespace
