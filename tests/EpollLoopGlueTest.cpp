// What epoll adds to the contract of all loops: its answers, and hang-ups that are neither readable
// nor writable.
#include "tavix/EpollLoopGlue.h"

#include "support/SocketPair.h"
#include "support/TempDir.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

using namespace Tavix;

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
// lost in a pass that an exception ends before the reader has its turn.
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
        EpollLoopGlue& loop;
        int fd;
        std::string heard;
    } reader{loop, open(path.c_str(), O_RDONLY | O_NONBLOCK), ""};
    void** source;
    loop.newSource(reader.fd, &source);
    loop.sourceAddWatch(source, kReadWatch);
    loop.addSource(source, Reader::read, &reader);
    SocketPair sockets;
    void** thrower;
    loop.newSource(sockets.near(), &thrower);
    loop.addSource(
        thrower, [](void**, void*) { throw 1; }, nullptr);
    for (char const* text : {"ab", "c"}) {
        loop.sourceAddWatch(thrower, kWriteWatch);
        const int writer = open(path.c_str(), O_WRONLY);
        EXPECT_LT(0, write(writer, text, strlen(text)));
        close(writer);
        EXPECT_THROW(loop.iterate(), int);
        loop.sourceRemoveWatch(thrower, kWriteWatch);
        for (int pass = 0; loop.check() && pass < 10; ++pass)
            loop.iterate();
        EXPECT_FALSE(loop.check());
    }
    EXPECT_EQ("ab.c.", reader.heard);
    for (void** each : {source, thrower}) {
        loop.removeSource(each);
        loop.deleteSource(each);
    }
    close(reader.fd);
}

} // namespace
