// What epoll adds to the contract of all loops: its answers, and hang-ups that are neither readable
// nor writable.
#include "tavix/EpollLoopGlue.h"

#include "support/SocketPair.h"
#include "support/Station.h"
#include "support/TempDir.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <thread>
#include <utility>

using namespace Tavix;

namespace {

std::atomic<int> controls{0}; // system calls about registrations

} // namespace

extern "C" int epoll_ctl(int epoll, int operation, int fd, epoll_event* event) noexcept
{
    static auto* const real = reinterpret_cast<decltype(&epoll_ctl)>(dlsym(RTLD_NEXT, "epoll_ctl"));
    ++controls;
    return real(epoll, operation, fd, event);
}

namespace {

void note(void**, void* calls)
{
    ++*static_cast<int*>(calls);
}

TEST(EpollLoopGlue, answersWhatTheKernelRefuses)
{
    EpollLoopGlue loop;
    SocketPair sockets;
    void **source, **second;
    ASSERT_TRUE(loop.newSource(sockets.near(), &source) == 0 && loop.newSource(sockets.near(), &second) == 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(-ENOENT, loop.removeSource(source));
    EXPECT_EQ(0, loop.addSource(source, note, nullptr));
    EXPECT_EQ(-EEXIST, loop.addSource(second, note, nullptr));
    close(sockets.giveNear());
    EXPECT_EQ(0, loop.sourceRemoveWatch(source, kReadWatch)); // not set: nothing to tell the kernel
    EXPECT_EQ(-EBADF, loop.sourceAddWatch(source, kReadWatch));
    EXPECT_EQ(-EBADF, loop.removeSource(source));
    EXPECT_EQ(
        "Warning: removing source that is not added. fd=" + std::to_string(loop.getFileDescriptor(source)) +
            "\nepoll_ctl: File exists\nepoll_ctl mod: Bad file descriptor\nepoll_ctl: Bad file descriptor\n",
        testing::internal::GetCapturedStderr());
    EXPECT_EQ(0, loop.deleteSource(source));
    EXPECT_EQ(0, loop.deleteSource(second));
}

// Writers of a named pipe come and go: each leaves behind a hang-up, of which the reader hears once. Nothing of that is
// lost in a pass that an exception ends before the reader has its turn. A change of watches that is undone in a callback
// is still one to a reader that rests.
TEST(EpollLoopGlue, hangUpOfAPipeIsToldOnceAndNewDataAgain)
{
    EpollLoopGlue loop;
    TempDir directory;
    const std::string path = directory.file("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    struct Reader {
        static void read(void** source, void* reader)
        {
            Reader& self = *static_cast<Reader*>(reader);
            bool readable = true;
            self.loop.sourceIsReadable(source, readable);
            char byte;
            self.heard += readable && ::read(self.fd, &byte, 1) == 1 ? byte : '.';
        }
        static void changeAndThrow(void**, void* reader)
        {
            Reader& self = *static_cast<Reader*>(reader);
            self.loop.sourceRemoveWatch(self.source, kReadWatch);
            self.loop.sourceAddWatch(self.source, kReadWatch);
            throw 1;
        }
        EpollLoopGlue& loop;
        int fd;
        std::string heard;
        void** source;
    } reader{loop, open(path.c_str(), O_RDONLY | O_NONBLOCK), "", nullptr};
    void**& source = reader.source;
    loop.newSource(reader.fd, &source);
    loop.sourceAddWatch(source, kReadWatch);
    loop.addSource(source, Reader::read, &reader);
    SocketPair sockets;
    void** thrower;
    loop.newSource(sockets.near(), &thrower);
    loop.addSource(thrower, Reader::changeAndThrow, &reader);
    for (char const* text : {"ab", "c", ""}) {
        loop.sourceAddWatch(thrower, kWriteWatch);
        const int writer = *text ? open(path.c_str(), O_WRONLY) : -1;
        EXPECT_EQ(*text != 0, write(writer, text, strlen(text)) > 0);
        close(writer);
        EXPECT_THROW(loop.iterate(), int);
        loop.sourceRemoveWatch(thrower, kWriteWatch);
        for (int pass = 0; loop.check() && pass < 10; ++pass)
            loop.iterate();
        EXPECT_FALSE(loop.check());
    }
    EXPECT_EQ("ab.c..", reader.heard);
    for (void** each : {source, thrower}) {
        loop.removeSource(each);
        loop.deleteSource(each);
    }
    close(reader.fd);
}

// What a callback changes is told when a thread waits or checks, however the pass has ended, and not when it has been
// undone.
TEST(EpollLoopGlue, changesInACallbackAreToldWhenTheyMatter)
{
    EpollLoopGlue loop;
    Station station(loop, kReadWatch), other(loop, 0);
    station.send();
    auto add = [&] { station.watch(kWriteWatch, true); };
    auto remove = [&] { station.watch(kWriteWatch, false); };
    auto controlsOf = [&](auto const& task) { // until the loop has checked
        bool first = true;
        station.action = [&] {
            if (std::exchange(first, false))
                task();
        };
        controls = 0;
        loop.iterate();
        EXPECT_TRUE(loop.check());
        station.action = nullptr;
        return controls.load();
    };
    EXPECT_EQ(0, controlsOf([&] { add(), remove(); }));
    EXPECT_EQ(1, controlsOf([&] { // forgets the one that goes
                  add();
                  other.watch(kWriteWatch, true);
                  remove();
                  other.remove();
              }));
    EXPECT_EQ(2, controlsOf([&] {
                  add();
                  EXPECT_EQ(0, controls);
                  loop.iterate();
                  EXPECT_TRUE(std::exchange(station.writable, false));
                  remove();
                  EXPECT_EQ(1, controls);
              }));
    station.action = [&] { add(), throw 1; };
    EXPECT_THROW(loop.iterate(), int);
    station.action = nullptr;
    std::thread([&] { loop.iterate(); }).join();
    EXPECT_TRUE(station.writable);
    EXPECT_EQ(1, controlsOf([&] {
                  std::thread(remove).join();
                  EXPECT_EQ(1, controls);
              }));
    controlsOf([&] {
        EXPECT_TRUE(station.receive());
        station.writable = false;
        std::thread waiter([&] { loop.iterate(); });
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield(); // for the waiter to go to sleep
        add();
        waiter.join();
        EXPECT_TRUE(station.writable);
    });
    controls = 0;
    remove();
    EXPECT_EQ(1, controls); // outside of passes
}

} // namespace
