// Descriptors in calls between processes, which die in the middle.
#include "system/SystemBus.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/StringElem.h"

#include <filesystem>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

using namespace Tavix;

namespace {

long countDescriptors(pid_t pid)
{
    return std::distance(std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"), {});
}

// A pipe whose writing end goes to be filled.
struct Pipe {
    Pipe() { EXPECT_EQ(0, pipe(ends)); }
    ~Pipe()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Element* makeEnd() const { return new FileDescriptorElem(ends[1], "", "", ""); }
    std::string content() const
    {
        char text[16];
        return std::string(text, static_cast<size_t>(read(ends[0], text, sizeof text)));
    }

    int ends[2];
};

class Descriptors : public SystemBus {
protected:
    // All processes that are left have as many as in the beginning, as soon as they have heard of what happened.
    ~Descriptors() override
    {
        auto now = [this] {
            return std::make_tuple(countDescriptors(getpid()), countOf(*owner), countOf(*bus));
        };
        for (int calls = 0; calls < 20000 && now() != before && call("clock", "echo") == connected; ++calls) {
        }
        EXPECT_EQ(before, now());
    }
    static long countOf(ChildProcess& process) { return countDescriptors(process.pid()); }

    Element* makeVia(Element* params)
    {
        MapElem* map = new MapElem;
        map->addChild("object", new StringElem("clock"));
        map->addChild("method", new StringElem("fill"));
        map->addChild("params", params);
        return map;
    }

    const std::string connected = call("clock", "echo");
    std::tuple<long, long, long> before{countDescriptors(getpid()), countOf(*owner), countOf(*bus)};
};

TEST_F(Descriptors, areOpenInTheOtherProcess)
{
    Pipe one, two;
    EXPECT_EQ("0 null", call("clock", "fill",
                             (new ListElem)->add((new ListElem)->add(one.makeEnd()))->add(two.makeEnd())));
    EXPECT_EQ("filledfilled", one.content() + two.content());
    Child door = startOwner("door");
    EXPECT_EQ("0 null", call("door", "via", makeVia(one.makeEnd())));
    EXPECT_EQ("filled", one.content());

    rlimit old, low;
    prlimit(owner->pid(), RLIMIT_NOFILE, nullptr, &old);
    low = old;
    low.rlim_cur = static_cast<rlim_t>(countOf(*owner) + 10);
    prlimit(owner->pid(), RLIMIT_NOFILE, &low, nullptr);
    ListElem* many = new ListElem;
    for (int i = 0; i < 250; ++i)
        many->add(one.makeEnd());
    EXPECT_EQ("2 !2 The receiver refused the descriptors: no room for all descriptors, the limit of open "
              "ones is reached",
              call("clock", "fill", many));
    prlimit(owner->pid(), RLIMIT_NOFILE, &old, nullptr);
}

// Sixteen under way at a time.
struct Stream {
    static void next(ResponseData const* response, void* stream)
    {
        Stream& self = *static_cast<Stream*>(stream);
        if (response) {
            EXPECT_FALSE(response->map->getChild("result")->isException());
            ++self.ended;
        }
        if (self.started == 1000)
            return;
        std::unique_ptr<Element> params(self.pipe.makeEnd());
        ++self.started;
        EXPECT_EQ(PROXY_OK, self.proxy.callMethodAsync("clock", "fill", params.get(), next, stream));
    }

    TavixProxy& proxy;
    Pipe pipe{};
    int started = 0, ended = 0;
};

TEST_F(Descriptors, passAThousandTimes)
{
    Stream stream{proxy};
    for (int i = 0; i < 16; ++i)
        Stream::next(nullptr, &stream);
    for (; stream.ended < 1000; loop->iterate()) {
    }
    for (int filled = 0; filled < 6000;)
        filled += static_cast<int>(stream.pipe.content().size());
}

// Senders and receivers, until each have died in the middle of 500 transfers.
TEST_F(Descriptors, endWithTheProcessesThatDieAtAnyStep)
{
    std::mt19937 random(1);
    for (int cut = 0; cut < 500;) {
        Child sender = start({TAVIX_TEST_ROLE, "sender", "clock", std::to_string(random() % 34)});
        EXPECT_EQ(128 + SIGKILL, sender->waitForExit());
        cut += std::stoi(sender->readOutput());
    }
    std::pair<int, int> calls; // that have not ended, and that have ended without their value
    auto count = [](ResponseData const* response, void* context) {
        auto& counted = *static_cast<decltype(calls)*>(context);
        --counted.first;
        counted.second += response->map->getChild("result")->isException();
    };
    Pipe pipe;
    while (calls.second < 500) {
        Child receiver = start({TAVIX_TEST_ROLE, "mortal", "door", std::to_string(random() % 40)});
        EXPECT_TRUE(receiver->waitForLine("ready"));
        std::unique_ptr<Element> params(pipe.makeEnd());
        for (; calls.first < 8; ++calls.first)
            EXPECT_EQ(PROXY_OK, proxy.callMethodAsync("door", "fill", params.get(), count, &calls));
        for (; calls.first > 0; loop->iterate()) {
        }
        receiver->signal(SIGKILL);
        receiver->waitForExit();
        while (call("door", "echo").find("Object not found") == std::string::npos) {
        }
    }
}

} // namespace
