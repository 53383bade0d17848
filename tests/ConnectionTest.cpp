#include "tavix/Connection.h"

#include "support/SocketPair.h"
#include "tavix/SocketUtil.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESMessageType.h"
#include "tavix/elements/EESVisitor.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/StringElem.h"

#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <thread>

using namespace Tavix;

namespace {

// A size field that claims `size` bytes, and `length` of them; `fill` tells frames apart.
std::string makeFrame(unsigned size, unsigned length, char fill)
{
    std::string frame(kSizeFieldLength, 0);
    writeBigEndian32(reinterpret_cast<unsigned char*>(frame.data()), size);
    return frame.append(length, fill);
}

SharedPtr<Message> makeMessage(std::string const& frame)
{
    auto* data = static_cast<unsigned char*>(malloc(frame.size()));
    memcpy(data, frame.data(), frame.size());
    return SharedPtr<Message>(new Message(data, static_cast<unsigned>(frame.size())));
}

// What an owner does after sendMessage: -1 when the connection broke, 1 when the socket is full, 0 when done.
int pump(Connection& connection, int sends = 0)
{
    for (;;) {
        const int unsent = sends ? connection.writeMessages(sends) : connection.writeData();
        if (unsent != 0)
            return unsent < 0 ? -1 : 1;
        if (connection.checkSendQueue() == 0)
            return 0;
    }
}

class ConnectionTest : public testing::Test {
protected:
    static void onBroken(Connection* connection, void* context)
    {
        ConnectionTest& self = *static_cast<ConnectionTest*>(context);
        EXPECT_EQ(self.connection.get(), connection);
        ++self.breaks;
    }

    void reconnect()
    {
        sockets = std::make_unique<SocketPair>();
        setBlocking(sockets->near());
        connection.reset(new Connection(7, sockets->giveNear(), onBroken, this));
        if (mode != kPlain)
            connection->readAhead(mode == kLending);
    }

    void sendRaw(std::string const& bytes)
    {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(sockets->far(), bytes.data(), bytes.size()));
    }

    // One readData: the frame, empty without one.
    std::string readOnce()
    {
        SharedPtr<Message> message;
        result = connection->readData(&message);
        if (!message.get())
            return std::string();
        EXPECT_EQ(7, message->clientId);
        EXPECT_EQ(0, message->data[message->size]);
        return std::string(reinterpret_cast<char*>(message->data), message->size);
    }

    // What an owner that reads ahead does in a callback.
    std::vector<std::string> readAll()
    {
        std::vector<std::string> frames;
        do {
            frames.push_back(readOnce());
            if (frames.back().empty())
                frames.pop_back();
        } while (result == 0 && connection->hasReadAhead());
        return frames;
    }

    void SetUp() override { reconnect(); }

    std::unique_ptr<SocketPair> sockets;
    std::unique_ptr<Connection> connection;
    int result = 0;
    int breaks = 0;
    enum Mode { kPlain, kAhead, kLending } mode = kPlain;
};

TEST_F(ConnectionTest, framesArriveWholeAndOnePerCall)
{
    const std::string first = makeFrame(20, 20, 'a');
    const std::string second = makeFrame(13, 13, 'b');
    for (Mode next : {kPlain, kAhead, kLending}) {
        mode = next;
        reconnect();
        for (std::size_t i = 0; i + 1 < first.size(); ++i) {
            sendRaw(first.substr(i, 1));
            EXPECT_EQ("", readOnce());
        }
        sendRaw("a" + second + second + std::string(2, 0));
        for (std::string const& expected : {first, second, second, std::string()})
            EXPECT_EQ(expected, readOnce());
        EXPECT_EQ(0, result);
    }
}

TEST_F(ConnectionTest, readingAheadLeavesNoWholeFrameBehindAndLosesNoHalf)
{
    mode = kLending;
    const std::vector<std::string> frames = {makeFrame(13, 13, 'a'), makeFrame(21, 21, 'b'),
                                             makeFrame(16, 16, 'c')};
    const std::string all = frames[0] + frames[1] + frames[2];
    for (std::size_t cut = 1; cut < all.size(); ++cut) {
        reconnect();
        sendRaw(all.substr(0, cut));
        std::vector<std::string> received = readAll();
        EXPECT_EQ((cut >= 17) + (cut >= 17 + 25), static_cast<int>(received.size())) << cut;
        sendRaw(all.substr(cut));
        for (std::string const& frame : readAll())
            received.push_back(frame);
        EXPECT_EQ(frames, received) << cut;
    }
    for (unsigned around : {0x100u, kLargeFrame, Connection::kReadAhead}) {
        for (unsigned length = around - 30; length < around + 10; ++length) {
            reconnect();
            const std::string pair = frames[1] + makeFrame(length, length, 'd');
            sendRaw(pair);
            sendRaw(pair);
            std::string received;
            for (int callbacks = 0; callbacks < 8; ++callbacks) {
                for (std::string const& next : readAll())
                    received += next;
            }
            EXPECT_TRUE(pair + pair == received) << length;
        }
    }

    reconnect();
    const std::string frame = makeFrame(1020, 1020, 'e');
    std::string flood;
    for (int i = 0; i < 140; ++i)
        flood += frame;
    sendRaw(flood + std::string(4, 0));
    const size_t inOneRead = Connection::kReadAhead / frame.size();
    EXPECT_EQ(inOneRead, readAll().size());
    EXPECT_EQ(140 - inOneRead, readAll().size() + readAll().size());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(1, breaks);
}

// As when a handler waits, and what comes meanwhile is read.
TEST_F(ConnectionTest, readingAheadLendsBytesThatStayBehindLaterReads)
{
    struct Case {
        std::string frame;
        bool lent;
    };
    const Case small{makeFrame(13, 13, 'a'), true};
    // The last one finds a frame behind it that cannot be.
    const std::vector<std::vector<Case>> reads = {
        {small, {makeFrame(8187, 8187, 'b'), true}, {makeFrame(8188, 8188, 'c'), false}, small},
        {{makeFrame(9000, 9000, 'd'), false}, {makeFrame(300, 300, 'e'), true}},
        {small, {makeFrame(200, 200, 'f'), false}}};
    mode = kLending;
    reconnect();
    std::vector<SharedPtr<Message>> kept;
    for (auto const& read : reads) {
        std::string bytes;
        for (Case const& c : read)
            bytes += c.frame;
        sendRaw(&read == &reads.back() ? bytes + makeFrame(0x80000000, 30, 'x') : bytes);
        for (std::size_t i = 0; i < read.size(); ++i)
            EXPECT_EQ(0, connection->readData(&kept.emplace_back()));
    }
    EXPECT_EQ("", readOnce());
    EXPECT_EQ(1, breaks);
    connection.reset();
    auto message = kept.begin();
    for (auto const& read : reads) {
        for (Case const& c : read) {
            ASSERT_TRUE(message->get());
            EXPECT_EQ(c.lent, (*message)->lender != nullptr);
            EXPECT_TRUE(c.frame + '\0' ==
                        std::string(reinterpret_cast<char*>((*message)->data), c.frame.size() + 1));
            ++message;
        }
    }
}

TEST_F(ConnectionTest, sizesThatCannotBeBreakTheConnectionOnce)
{
    struct {
        unsigned size;
        std::string line;
    } const cases[] = {{0, "Incoming message too short (0), Disconnecting client [ id=7 fd="},
                       {12, "Incoming message too short (12), Disconnecting client [ id=7 fd="},
                       {0x30000, ""},
                       {0x30001, "Incoming message too large (196609), Disconnecting client 7\n"},
                       {0x80000000, "Incoming message too large (2147483648), Disconnecting client 7\n"}};
    for (auto const& c : cases) {
        reconnect();
        breaks = 0;
        sendRaw(makeFrame(c.size, 50, 'a'));
        testing::internal::CaptureStderr();
        for (int call = 0; call < 2; ++call)
            EXPECT_EQ("", readOnce());
        EXPECT_EQ(c.line, testing::internal::GetCapturedStderr().substr(0, c.line.size()));
        EXPECT_EQ(c.line.empty() ? 0 : 1, breaks) << c.line;
        EXPECT_EQ(-breaks, result);
        EXPECT_EQ(-breaks, connection->writeData());
    }
}

TEST_F(ConnectionTest, writesOneMessageAfterTheOther)
{
    for (unsigned length : {13, 14})
        connection->sendMessage(makeMessage(makeFrame(length, length, 'a')));
    EXPECT_EQ(0, connection->writeData());
    EXPECT_EQ(1, connection->checkSendQueue());
    EXPECT_EQ(0, connection->checkSendQueue());
    EXPECT_EQ(18, connection->writeData()); // the second one, loaded
    EXPECT_EQ(0, connection->writeData());
}

TEST_F(ConnectionTest, oneSendTakesWhatIsQueuedUpToALimit)
{
    std::string expected;
    std::string received;
    auto receive = [&](size_t most) {
        std::string buffer(most, 0);
        const ssize_t got = read(sockets->far(), buffer.data(), most);
        received.append(buffer, 0, got > 0 ? static_cast<size_t>(got) : 0);
    };
    auto queue = [&](unsigned length, bool post = false) {
        const std::string frame = makeFrame(length, length, static_cast<char>('a' + length % 23));
        expected += frame;
        SharedPtr<Message> message = makeMessage(frame);
        EXPECT_EQ(0, post ? connection->postMessage(message) : connection->sendMessage(message));
    };
    queue(13, true); // is current at once
    for (unsigned length = 14; length < 20; ++length)
        queue(length, length == 16);
    EXPECT_EQ(0, connection->checkSendQueue());
    EXPECT_EQ(0, connection->writeMessages(1));
    for (unsigned length = 0; length < 200; ++length)
        queue(13);
    connection->checkSendQueue();
    EXPECT_EQ(17, connection->writeMessages(1));
    receive(100000);

    // A socket that is full again and again ends a send anywhere in the messages.
    setSocketBufferSize(connection->getFd(), 4096);
    for (unsigned i = 0; i < 2000; ++i)
        queue(i % 400 == 399 ? 70000 : 13 + i * i % 1499);
    for (int result = 1; result == 1; receive(711))
        result = pump(*connection, 2);
    for (size_t before = 0; before != received.size();) {
        before = received.size();
        receive(100000);
    }
    EXPECT_TRUE(expected == received);
}

// Found by the reader in half a frame, and by the writer with one message in the socket and one in the queue.
TEST_F(ConnectionTest, callbackMayDeleteTheConnection)
{
    auto deleteIt = [](Connection* connection, void* breaks) {
        ++*static_cast<int*>(breaks);
        connection->checkSendQueue(); // waits for good if a lock is held
        delete connection;
    };
    SharedPtr<Message> message;
    auto* reading = new Connection(1, dup(connection->getFd()), deleteIt, &breaks);
    sendRaw(makeFrame(100, 50, 'a'));
    EXPECT_EQ(0, reading->readData(&message));
    reading->shutdownSocket();
    EXPECT_EQ(-1, reading->readData(&message));

    reconnect();
    auto* writing = new Connection(1, dup(connection->getFd()), deleteIt, &breaks);
    const std::string largest = makeFrame(0x30000 - 4, 0x30000 - 4, 'a');
    EXPECT_EQ(Connection::RESULT_MESSAGE_TOO_LARGE, writing->sendMessage(makeMessage(largest + "b")));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Connection::RESULT_OK, writing->sendMessage(makeMessage(largest)));
    EXPECT_EQ(1, pump(*writing));
    sockets->closeFar();
    std::thread([&] { EXPECT_EQ(-1, pump(*writing)); }).join(); // and no signal
    EXPECT_EQ(2, breaks);
}

// Two threads queue and pump at once, as senders and the loop do; the socket is full most of the time.
TEST_F(ConnectionTest, messagesOfTwoThreadsStayWholeAndInOrder)
{
    constexpr unsigned kCount = 1000;
    Connection peer(1, dup(sockets->far()), nullptr, nullptr);
    setSocketBufferSize(peer.getFd(), 4096);
    auto send = [&](char fill) {
        const int sends = fill == 'a' ? 0 : 3;
        for (unsigned i = 0; i < kCount; ++i) {
            peer.sendMessage(makeMessage(makeFrame(13 + 9 * i, 13 + 9 * i, fill)));
            pump(peer, sends);
        }
        while (pump(peer, sends) > 0)
            std::this_thread::yield();
    };
    std::thread first(send, 'a');
    std::thread second(send, 'b');
    unsigned received[2] = {0, 0};
    while (received[0] + received[1] < 2 * kCount && result == 0) {
        pollfd poller{connection->getFd(), POLLIN, 0};
        poll(&poller, 1, -1);
        const std::string frame = readOnce();
        if (frame.empty())
            continue;
        const unsigned length = 13 + 9 * received[frame.back() == 'b']++;
        EXPECT_EQ(makeFrame(length, length, frame.back()), frame);
    }
    first.join();
    second.join();
}

TEST_F(ConnectionTest, namesItsPeer)
{
    const std::string name = connection->getName();
    EXPECT_NE(std::string::npos, name.find(" pid=" + std::to_string(getpid()) + " , "));
    EXPECT_NE(std::string::npos, name.find(program_invocation_name + std::string("]"))) << name;

    const std::string address = std::to_string(getpid()) + "-tavix-gone";
    const int server = startAbstractUnixDomainServer(address.c_str());
    const pid_t child = fork();
    if (child == 0)
        _exit(connectToServerAbstractUnixDomain(address.c_str()) < 0);
    EXPECT_EQ(child, waitpid(child, nullptr, 0));
    const int fd = accept(server, nullptr, nullptr);
    EXPECT_EQ("[ id=3 fd=" + std::to_string(fd) + " pid=" + std::to_string(child) + " , ]",
              Connection(3, fd, nullptr, nullptr).getName());
    close(server);
}

} // namespace

// Large values lie outside the frame's block, in nested containers here; a peer must see the bytes of a frame that
// was copied into one piece, however the socket cuts it up.
TEST_F(ConnectionTest, SendsSharedPartsAsOneFrame)
{
    MapElem tree;
    ListElem* list = new ListElem;
    for (char c : {'a', 'b', 'c'})
        list->add(std::string(kSharedLength + 1, c))->add(1);
    tree.addChild("list", list);
    TvxResult copied;
    std::string const bytes(20000, 'x');
    tree.addChild("tail",
                  new BinaryElem(reinterpret_cast<unsigned char const*>(bytes.data()), 20000, copied));

    auto const encode = [&tree](bool sharing, EncodedFrame& frame) {
        EESVisitor visitor;
        if (sharing)
            visitor.shareLargeValues();
        visitor.startMessage(Response, 5);
        tree.accept(&visitor);
        ASSERT_TRUE(visitor.encodeFrame(frame));
    };
    EncodedFrame whole, parted;
    encode(false, whole);
    encode(true, parted);
    ASSERT_EQ(4u, parted.parts.size());
    std::string const expected(whole.block, whole.length);
    free(whole.block);

    setSocketBufferSize(connection->getFd(), 4096);
    connection->sendMessage(SharedPtr<Message>(new Message(parted)));
    tree.removeChildren(); // the message keeps what it needs
    int state = pump(*connection);
    int partial = 0;
    std::string received;
    while (received.size() < expected.size()) {
        char buffer[1500];
        ssize_t const got = read(sockets->far(), buffer, sizeof buffer);
        ASSERT_GT(got, 0);
        received.append(buffer, static_cast<size_t>(got));
        partial += state;
        if (state == 1)
            state = pump(*connection);
    }
    EXPECT_TRUE(received == expected);
    EXPECT_GT(partial, 1);
}
