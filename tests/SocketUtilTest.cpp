#include "tavix/SocketUtil.h"

#include "support/TempDir.h"
#include "tavix/SocketUtilInternal.h"

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// No test leaves a descriptor open.
class SocketUtil : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(descriptors, countDescriptors()); }

    static std::ptrdiff_t countDescriptors()
    {
        using std::filesystem::directory_iterator;
        return std::distance(directory_iterator("/proc/self/fd"), directory_iterator());
    }

    const std::ptrdiff_t descriptors = countDescriptors();
    TempDir folder;
};

// A listener that does not block and a client that does, joined; both pass on to programs. Closes both.
void expectJoined(int server, int client)
{
    const int accepted = accept(server, nullptr, nullptr);
    EXPECT_GE(accepted, 0);
    EXPECT_EQ(-1, accept(server, nullptr, nullptr));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(0, fcntl(client, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(0, (fcntl(client, F_GETFD) | fcntl(server, F_GETFD)) & FD_CLOEXEC);
    close(accepted);
    close(client);
    close(server);
}

TEST_F(SocketUtil, unixServersAndClientsJoin)
{
    const std::string path =
        folder.file(std::string(106 - folder.path().size(), 'n')); // the longest that fits
    close(startUnixDomainServer(path.c_str()));
    int server = startUnixDomainServer((path + "cut").c_str()); // replaces the leftover
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0777u, status.st_mode & 07777);
    expectJoined(server, connectToServerUnixDomain((path + "also cut").c_str()));

    for (std::string const& name : {std::to_string(getpid()) + "-tavix", path + "cut"}) {
        server = startAbstractUnixDomainServer(name.c_str());
        expectJoined(server, connectToServerAbstractUnixDomain(name.c_str()));
    }
}

TEST_F(SocketUtil, failuresSayWhyAndCloseTheirSocket)
{
    const std::string missing = folder.file("none/socket");
    const std::string caller = "caller(pid:" + std::to_string(getpid()) + "): Error trying to connect to ";
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, startUnixDomainServer(missing.c_str()));
    EXPECT_EQ(-1, startUnixDomainServer(""));
    EXPECT_EQ(-1, Tavix::connectUnixDomain(missing.c_str(), 0, 0, "caller"));
    EXPECT_EQ(-1, Tavix::connectUnixDomain("tavix-nobody", 1, 0, "caller"));
    EXPECT_EQ("Bind on " + missing + " failed errno=2 'No such file or directory'\n" +
                  "Bind on  failed errno=22 'Invalid argument'\n" + caller + missing +
                  ":No such file or directory\r\n" + caller + "tavix-nobody:Connection refused\r\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(SocketUtil, tcpServerAndClientJoin)
{
    int port = 20000 + getpid() % 20000;
    int server = -1;
    while ((server = startTCPServer(++port)) < 0) {
    }
    const std::string address = "127.0.0.1:" + std::to_string(port);
    EXPECT_LT(startTCPServer(port), -1); // taken
    expectJoined(server, connectToServerTCP(address.c_str()));
    EXPECT_EQ(-1, connectToServerTCP(address.c_str()));
    EXPECT_EQ(-1, connectToServerTCP("127.0.0.1:65536"));
}

TEST_F(SocketUtil, tcpAddressTexts)
{
    struct {
        char const *text, *host;
        long port;
    } const cases[] = {{nullptr, "127.0.0.1", 5010}, {"", "127.0.0.1", 5010},
                       {"host", "host", 5010},       {"host:6000", "host", 6000},
                       {":6000", ":6000", 5010},     {"[::1]:6000", "::1", 6000},
                       {"[::1]", "::1", 5010},       {"2001:db8::1", "2001:db8::1", 5010}};
    for (auto const& c : cases) {
        const Tavix::TcpAddress address = Tavix::parseTcpAddress(c.text);
        EXPECT_EQ(c.host, address.host);
        EXPECT_EQ(c.port, address.port) << address.host;
    }
}

TEST_F(SocketUtil, environmentChoosesTheDefaultServerPort)
{
    EXPECT_EQ(5010, Tavix::getDefaultTcpServerPort());
    for (char const* text : {"65535", "65536", "word"}) {
        setenv("TAVX_TCPPORT", text, 1);
        EXPECT_EQ(strcmp(text, "65535") == 0 ? 65535 : 5010, Tavix::getDefaultTcpServerPort()) << text;
    }
    unsetenv("TAVX_TCPPORT");
}

} // namespace
