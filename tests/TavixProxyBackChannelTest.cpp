// Descriptors in calls: a bus and its clients in one thread, and peers that say what they should not.
#include "support/SocketPair.h"
#include "support/TestBus.h"
#include "tavix/SocketUtil.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>

// Sockets that take only a little at a time, when this is set.
static int sendBuffer = 0;

extern "C" int socket(int domain, int type, int protocol) noexcept
{
    const int fd = static_cast<int>(syscall(SYS_socket, domain, type, protocol));
    if (sendBuffer > 0)
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
    return fd;
}

using namespace Tavix;
using testing::Each;
using testing::HasSubstr;

namespace {

ListElem* makeDescriptors(int fd, int count)
{
    ListElem* list = new ListElem;
    while (count-- > 0)
        list->add(new FileDescriptorElem(fd, "", "", ""));
    return list;
}

// Which open file a descriptor stands for.
std::string fileOf(int fd)
{
    struct stat status;
    return fstat(fd, &status) == 0 ? std::to_string(status.st_ino) + " " : "none ";
}

// The files of the descriptors in a tree, which it closes.
std::string takeFiles(Element* params)
{
    std::pair<std::string, std::set<int>> taken;
    auto take = [](void* context, FileDescriptorElem* element, std::string const&) {
        auto& result = *static_cast<decltype(taken)*>(context);
        result.first += fileOf(element->intValue());
        result.second.insert(element->intValue());
        EXPECT_NE(0, fcntl(element->intValue(), F_GETFD) & FD_CLOEXEC);
    };
    FileDescriptorVisitor visitor(take, &taken, "");
    params->accept(&visitor);
    for (int fd : taken.second)
        close(fd);
    return taken.first;
}

class TavixProxyBackChannel : public testing::Test, protected TestBus {
protected:
    std::unique_ptr<TavixProxy> connectProxy(char const* name)
    {
        std::unique_ptr<TavixProxy> proxy(new TavixProxy(loop));
        EXPECT_TRUE(proxy->connectToFd(connectToServerAbstractUnixDomain(address.c_str())));
        EXPECT_EQ(PROXY_OK, proxy->addSharedObject(name, &service));
        settle();
        return proxy;
    }
    // Everything anew.
    void restart()
    {
        owner.reset();
        caller.reset();
        settle();
        bus.reset();
        bus.reset(new TavixBus(loop, 0, startAbstractUnixDomainServer(address.c_str()), -1));
        owner = connectProxy("owner");
        caller = connectProxy("caller");
        EXPECT_EQ(before, countDescriptors());
    }
    // Takes params.
    RemoteProxyResult send(TavixProxy& from, char const* object, char const* method, Element* params)
    {
        std::unique_ptr<Element> owned(params);
        return from.callMethodAsync(object, method, params, Answers::note, &answers);
    }
    // A transfer to the owner; null: this process is the sender.
    void askFor(RawClient& peer, Element* params = nullptr)
    {
        if (!params)
            params = new FileDescriptorElem(5, "h", "/proc/" + std::to_string(getpid()), "/proc/self/exe");
        peer.send(makeRequest(BackChannel, 1, "owner", "files", params));
    }
    std::string call(char const* object, char const* method, Element* params)
    {
        answers.texts.clear();
        EXPECT_EQ(PROXY_OK, send(*caller, object, method, params));
        settle();
        return answers.texts.size() == 1 ? answers.texts[0] : "not answered once";
    }

    Service service{[this](std::string const& method, Element* params) -> Element* {
        RemoteProxyResult result;
        std::unique_ptr<Element> nested( // while its own caller waits
            method == "nested" ? owner->callMethod("caller", "files", params, result) : nullptr);
        return new StringElem(takeFiles(params) + (nested ? nested->stringValue() : ""));
    }};
    std::unique_ptr<TavixProxy> owner = connectProxy("owner"), caller = connectProxy("caller");
    Answers answers;
    SocketPair sockets;
    const std::string file = fileOf(sockets.near());
    const long before = countDescriptors();
};

TEST_F(TavixProxyBackChannel, descriptorsArriveWhereverTheyStand)
{
    const int null = open("/dev/null", O_RDWR);
    ListElem* tree = makeDescriptors(null, 2); // the same twice
    MapElem* map = new MapElem;
    map->addChild("deep", makeDescriptors(sockets.near(), 1));
    tree->add(7)->add(map);
    EXPECT_EQ("\"" + fileOf(null) + fileOf(null) + file + "\"", call("owner", "files", tree));
    EXPECT_EQ("\"" + file + file + "\"", call("owner", "nested", makeDescriptors(sockets.near(), 1)));
    std::string files;
    for (int i = 0; i < 253; ++i)
        files += file;
    for (sendBuffer = 0; sendBuffer < 2; ++sendBuffer) // the list of numbers in one piece, and in many
        EXPECT_EQ("\"" + files + "\"", call("owner", "files", makeDescriptors(sockets.near(), 253)));
    sendBuffer = 0;
    close(null);

    // What nobody takes is closed, and none stays none.
    SharedObjectObserver other;
    owner->addSharedObject("other", &other);
    for (char const* object : {"tvx", "other", "nobody"})
        EXPECT_THAT(call(object, "method",
                         makeDescriptors(sockets.near(), 1)->add(new FileDescriptorElem(-1, "", "", ""))),
                    testing::AnyOf(HasSubstr("Unknown"), "!4 Object not found"));
    EXPECT_THAT(call("tvx", "listObjects", makeDescriptors(sockets.near(), 1)), HasSubstr("owner"));
    EXPECT_EQ("\"" + file + "\"",
              call("owner", "files", // replaced while it runs
                   new FileDescriptorElem(sockets.near(), "h", "p", "/proc/self/exe (deleted)")));
    EXPECT_EQ("!10 FileDescriptor requires uds connection",
              call("owner", "files", new FileDescriptorElem(sockets.near(), "h", "p", "/no/such/program")));
    EXPECT_EQ(before, countDescriptors());

    testing::internal::CaptureStderr();
    EXPECT_EQ("!11 A call passes at most 253 descriptors",
              call("owner", "m", makeDescriptors(sockets.near(), 254)));
    EXPECT_EQ(PROXY_REQUEST_TOO_LARGE,
              send(*caller, "owner", "m", makeDescriptors(0, 1)->add(makeText(196608))));
    EXPECT_EQ("!3 Descriptor 99999 cannot be passed: Bad file descriptor",
              call("owner", "m", makeDescriptors(99999, 1)));
    // An event says the number, whatever that is where it arrives; what it names there is not passed on.
    RawClient observer = connect();
    observer.ask(makeRequest(AddObserver, 1, "lamp", "changed"));
    FileDescriptorElem data(sockets.near(), "", "", "");
    TvxResult removed;
    EXPECT_EQ(PROXY_OK, caller->sendEvent("lamp", "changed", &data));
    Element* const heard = observer.receive().root->removeChild("data", removed);
    EXPECT_EQ(data.toString(), heard->toString());
    EXPECT_EQ("!10 Descriptor " + data.stringValue() + " is a number of another process",
              call("owner", "m", (new ListElem)->add(heard)));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("only calls pass descriptors"));
    observer.close();
    settle();
    EXPECT_EQ(before, countDescriptors());
}

// Both ways at once, started by another thread, until the bus goes: what was started ends once.
TEST_F(TavixProxyBackChannel, everyTransferEndsOnce)
{
    std::atomic<int> started{0};
    std::thread thread([&] {
        for (int i = 0; i < 200; ++i) {
            const int fd = dup(sockets.near());
            TavixProxy& from = i % 2 ? *owner : *caller;
            started += send(from, i % 2 ? "caller" : "owner", "files", makeDescriptors(fd, 1)) == PROXY_OK;
            close(fd); // lent for the start only
        }
    });
    while (answers.texts.size() < 100)
        loop->iterate();
    EXPECT_THAT(answers.texts, Each("\"" + file + "\""));
    bus.reset();
    thread.join();
    settle();
    EXPECT_EQ(static_cast<size_t>(started), answers.texts.size());
    restart();
}

// A proxy or the bus goes after each pass of the loop in turn. Callbacks that throw take no other's answer away.
TEST_F(TavixProxyBackChannel, endsAtEveryStep)
{
    auto noteAndThrow = [](ResponseData const* response, void* noted) {
        Answers::note(response, noted);
        throw 1;
    };
    std::unique_ptr<Element> params(makeDescriptors(sockets.near(), 1));
    auto run = [this](int passes) {
        while (passes-- > 0 && loop->check()) {
            try {
                loop->iterate();
            } catch (int) {
            }
        }
    };
    for (int step = 0; step < 42; ++step) {
        answers.texts.clear();
        for (int i = 0; i < 3; ++i)
            caller->callMethodAsync("owner", "files", params.get(), noteAndThrow, &answers);
        run(step / 3);
        if (step % 3 == 0)
            caller.reset();
        else if (step % 3 == 1)
            owner.reset();
        else
            bus.reset();
        run(1000);
        EXPECT_TRUE(step % 3 == 0 || answers.texts.size() == 3) << step;
        restart();
    }
}

// Wherever the limit strikes, in either proxy or the bus, the call ends with a reason.
TEST_F(TavixProxyBackChannel, limitOfDescriptorsEndsTheTransferOnly)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers open descriptors of their own to look at memory";
#endif
    std::set<std::string> seen;
    for (unsigned room = 0; room < 40; ++room) {
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlim_t old = std::exchange(limit.rlim_cur, static_cast<rlim_t>(before) + room);
        setrlimit(RLIMIT_NOFILE, &limit);
        answers.texts.clear();
        EXPECT_EQ(PROXY_OK, send(*caller, "owner", "files", makeDescriptors(sockets.near(), 12)));
        settle();
        limit.rlim_cur = old;
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(1u, answers.texts.size());
        EXPECT_EQ(before, countDescriptors()) << room;
        seen.insert(answers.texts.begin(), answers.texts.end());
    }
    EXPECT_EQ(4u, seen.size()) << testing::PrintToString(seen); // three reasons and the answer
}

void sendRights(int socket, std::string data, int count)
{
    iovec piece{data.data(), data.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(8 * sizeof(int))] = {};
    msghdr header{nullptr, 0, &piece, 1, control, CMSG_SPACE(count * sizeof(int)), 0};
    *CMSG_FIRSTHDR(&header) = cmsghdr{CMSG_LEN(count * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    for (int i = 0; i < count; ++i)
        std::memcpy(CMSG_DATA(CMSG_FIRSTHDR(&header)) + i * sizeof socket, &socket, sizeof socket);
    EXPECT_EQ(static_cast<ssize_t>(data.size()), sendmsg(socket, &header, 0));
}

std::string identifiers(Element* list, Element* id = new IntegerElem(9))
{
    MapElem* params = new MapElem;
    params->addChild("fdList", list);
    params->addChild("requestID", id);
    return makeRequest(CallMethod, 0, "owner", "files", params);
}

constexpr char kClosed = '0', kStalled = '.';

// A client asks for a transfer itself: strangers, garbage, nothing more, and then the transfer as it should be. Others
// go on meanwhile.
TEST_F(TavixProxyBackChannel, badSenderEndsItsTransferOnly)
{
    const std::string good = identifiers(makeDescriptors(5, 2));
    struct {
        std::string frame, data;
        int rights;
        char answer;
    } const cases[] = {{"", "", 0, kClosed},
                       {std::string(20, '\xff'), "", 0, kClosed},
                       {makeFrame(0, 0, "garbage"), "", 0, '\1'},
                       {makeRequest(CallMethod, 0, "owner", "files", new IntegerElem(1)), "", 0, '\1'},
                       {identifiers(new ListElem), "", 0, '\1'},
                       {identifiers((new ListElem)->add(5)), "", 0, '\1'},
                       {identifiers(makeDescriptors(5, 254)), "", 0, '\1'},
                       {identifiers(makeDescriptors(5, 1), new StringElem("9")), "", 0, '\1'},
                       {good.substr(0, 20), "", 0, kStalled},
                       {good, "", 0, kStalled},
                       {good, "FD", 1, '\1'},
                       {good, "FD", 3, '\1'},
                       {good, "XY", 2, '\1'},
                       {good, "F", 2, '\1'},
                       {good, "FD", 2, '\0'}};
    RawClient peer = connect();
    auto ask = [&](Element* params) { askFor(peer, params); };
    for (auto const& c : cases) {
        const bool stranger = c.frame.empty();
        const std::string process = "/proc/" + std::to_string(stranger ? 1 : getpid());
        ask(new FileDescriptorElem(5, "h", process, "/proc/self/exe"));
        const Frame asked = peer.receive();
        const std::string name = asked.root->getChild("result")->getChild("hostname")->stringValue();
        for (int visits = stranger ? 3 : 1; visits > 0; --visits) {
            const int fd = connectToServerAbstractUnixDomain(name.c_str());
            EXPECT_EQ(static_cast<ssize_t>(c.frame.size()), write(fd, c.frame.data(), c.frame.size()));
            if (c.rights > 0)
                sendRights(fd, c.data, c.rights);
            settle();
            char answer = kClosed;
            if (recv(fd, &answer, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN)
                answer = kStalled;
            EXPECT_EQ(c.answer, answer);
            EXPECT_EQ("\"" + file + "\"", call("owner", "files", makeDescriptors(sockets.near(), 1)));
            close(fd);
        }
        if (stranger)
            peer.ask(makeRequest(BackChannel, 2, "owner", "files", new StringElem(name))); // withdrawn
        EXPECT_THAT(peer.ask(makeRequest(CallMethod, 9, "owner", "files", makeDescriptors(5, 1))),
                    HasSubstr(c.answer == 0 ? "9: \"" : "9: !2 The descriptors of the call did not arrive"));
    }
    for (char const* process : {"p", "/proc/", "/proc/0", "/proc/1x", "/proc/2147483647"}) {
        ask(new FileDescriptorElem(5, "h", process, "/proc/self/exe"));
        EXPECT_THAT(peer.hear(), HasSubstr("!2 Cannot open"));
    }
    // Texts that would push the count out of the name, which then were never free.
    const std::string self = std::to_string(getpid());
    for (int i = 0; i < 2; ++i) {
        ask(new FileDescriptorElem(5, "h", "/proc/" + self, std::string("/proc/self/exe\0", 15)));
        ask(new FileDescriptorElem(5, "h", "/proc/" + std::string(99, '0') + self, "/proc/self/exe"));
        for (char const* count : {i ? "-3" : "", i ? "-4" : "-2"})
            EXPECT_THAT(peer.hear(), HasSubstr("\"exe-" + self + "-" + self + count + "\""));
    }
    EXPECT_EQ("3: null", peer.ask(makeRequest(BackChannel, 3, "owner", "m", new StringElem("")))); // all
    EXPECT_EQ("\"" + file + "\"", call("owner", "files", makeDescriptors(sockets.near(), 1)));
    peer.close();
    settle();
    EXPECT_EQ(before, countDescriptors());
}

TEST_F(TavixProxyBackChannel, whatNobodyGoesOnWithIsGivenUpInTime)
{
    BackChannels channels(owner.get());
    FileDescriptorElem introduction(5, "h", "/proc/" + std::to_string(getpid()), "/proc/self/exe");
    auto ask = [&] {
        std::unique_ptr<Element> answer(channels.serve(&introduction, 1, channels.connectionId()));
        return answer->getChild("hostname")->stringValue();
    };
    const std::string good = identifiers(makeDescriptors(5, 1));
    ask(); // nobody connects
    RawClient stalled(connectToServerAbstractUnixDomain(ask().c_str()), [this] { settle(); });
    stalled.send(good.substr(0, 20));
    const int whole = connectToServerAbstractUnixDomain(ask().c_str()); // but its call never comes
    EXPECT_EQ(static_cast<ssize_t>(good.size()), write(whole, good.data(), good.size()));
    sendRights(whole, "FD", 1);
    EXPECT_TRUE(stalled.isQuiet());
    close(whole);
    EXPECT_TRUE(channels.hasReceived);
    channels.patience = std::chrono::seconds(-1);
    ask();
    EXPECT_EQ("end", stalled.hear());
    stalled.close();
    EXPECT_EQ(before + 2, countDescriptors()); // the last listener and what watches its sender
    channels.abandonAll();
    EXPECT_EQ(before, countDescriptors());
}

TEST_F(TavixProxyBackChannel, oneClientCannotTakeAllDescriptors)
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t old = std::exchange(limit.rlim_cur, 1024);
    setrlimit(RLIMIT_NOFILE, &limit);
    RawClient peer = connect();
    std::string name;
    for (int i = 0; i < 512; ++i) {
        askFor(peer);
        name = peer.receive().root->getChild("result")->getChild("hostname")->stringValue();
    }
    askFor(peer);
    EXPECT_EQ("1: !2 Cannot open a back channel: too many transfers are under way", peer.hear());
    const int fd = connectToServerAbstractUnixDomain(name.c_str());
    const std::string frame = identifiers(makeDescriptors(5, 8));
    EXPECT_EQ(static_cast<ssize_t>(frame.size()), write(fd, frame.data(), frame.size()));
    sendRights(fd, "FD", 8);
    settle();
    char answer = '0';
    EXPECT_EQ(1, recv(fd, &answer, 1, MSG_DONTWAIT));
    EXPECT_EQ('\1', answer);
    close(fd);
    EXPECT_EQ("\"" + file + "\"", call("owner", "files", makeDescriptors(sockets.near(), 1)));
    peer.ask(makeRequest(BackChannel, 2, "owner", "files", new StringElem("")));
    peer.close();
    settle();
    limit.rlim_cur = old;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(before, countDescriptors());
}

TEST_F(TavixProxyBackChannel, badReceiverEndsTheCallWithAReason)
{
    const std::string pair = "bad-" + std::to_string(getpid()) + "-" + std::to_string(getpid());
    struct {
        std::string name, said;
        char const* expected;
    } const cases[] = {{"!", "", "!7 "}, // an exception without a text
                       {"", "", "!2 Failed to connect backchannel"},
                       {"bad-none", "", "!2 Failed to connect backchannel"},
                       {"bad-1-1", "", "!2 The back channel leads to another process"},
                       {pair, "", "!2 The receiver closed the back channel"},
                       {pair, "\1full", "!2 The receiver refused the descriptors: full"},
                       {pair, "x", "!2 The receiver answered with something else"},
                       {pair, "the bus goes", "!2 Connection broken"}};
    for (auto const& c : cases) {
        RawClient bad = connectOwner({"bad"});
        const int listener =
            startAbstractUnixDomainServer(c.name == pair || c.name == "bad-1-1" ? c.name.c_str() : "other");
        answers.texts.clear();
        sendBuffer = 1; // the list of numbers stays where it is, for the most part
        send(*caller, "bad", "m", makeDescriptors(sockets.near(), 253));
        MapElem* map = new MapElem;
        map->addChild("hostname", new StringElem(c.name));
        std::unique_ptr<Element> named(map), refusal(new ExceptionElem("", 7));
        const Frame request = bad.receive();
        bad.send(makeResponse(request.id, request.clientId, (c.name == "!" ? refusal : named).release()));
        settle();
        sendBuffer = 0;
        if (c.name == pair) { // others go on
            EXPECT_EQ("\"" + file + "\"", call("owner", "files", makeDescriptors(sockets.near(), 1)));
            answers.texts.clear();
        }
        if (c.said == "the bus goes")
            bus.reset();
        settle();
        const int fd = accept(listener, nullptr, nullptr);
        ::send(fd, c.said.data(), c.said.size(), MSG_NOSIGNAL);
        close(fd);
        close(listener);
        settle();
        EXPECT_THAT(answers.texts, testing::ElementsAre(c.expected));
        bad.close();
        settle();
    }
    restart();
}

} // namespace
