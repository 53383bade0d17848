#include "support/TestBus.h"

#include "tavix/SocketUtil.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace Tavix;

namespace {

std::string newAddress()
{
    static int count = 0;
    return "tavix-test-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

} // namespace

long countDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

void StepLoop::settle()
{
    for (int pass = 0; loop->check(); ++pass) {
        ASSERT_LT(pass, 20000) << "the loop does not come to rest";
        loop->iterate();
    }
}

TestBus::TestBus()
    : address(newAddress()), bus(new TavixBus(loop, 0, startAbstractUnixDomainServer(address.c_str()), -1))
{
}

RawClient TestBus::dial()
{
    return RawClient(connectToServerAbstractUnixDomain(address.c_str()), [this] { settle(); });
}

RawClient TestBus::connect()
{
    RawClient client = dial();
    settle();
    return client;
}

RawClient TestBus::connectOwner(std::vector<std::string> const& names)
{
    RawClient owner = connect();
    for (std::string const& name : names)
        EXPECT_EQ("1: null", owner.ask(makeRequest(AddSharedObject, 1, name)));
    return owner;
}

void ProxyWithPeer::connect(bool stepping)
{
    peer.reset();
    if (stepping)
        settle();
    while (proxy->isConnected())
        std::this_thread::yield(); // the thread that steps will find the end
    int fds[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, fds));
    peer.reset(new RawClient(fds[0], stepping ? [this] { settle(); } : std::function<void()>()));
    ASSERT_TRUE(proxy->connectToFd(fds[1]));
}

void Answers::note(ResponseData const* response, void* answers)
{
    static_cast<Answers*>(answers)->texts.push_back(describe(response->map->getChild("result")));
}
