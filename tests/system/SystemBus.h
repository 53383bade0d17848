#ifndef TAVIX_TESTS_SYSTEM_SYSTEMBUS_H
#define TAVIX_TESTS_SYSTEM_SYSTEMBUS_H

#include "support/ChildProcess.h"
#include "support/RawClient.h"
#include "support/TempDir.h"
#include "tavix/SelectLoopGlue.h"
#include "tavix/SocketUtil.h"
#include "tavix/TavixProxy.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using Child = std::unique_ptr<ChildProcess>;

// A broker in a process and a directory of its own, an owner of the object "clock" in another, and a proxy of
// the test.
class SystemBus : public testing::Test {
protected:
    explicit SystemBus(std::vector<std::string> const& busOptions = {}) : options(busOptions)
    {
        EXPECT_TRUE(bus->waitForLine("serving"));
        owner = startOwner("clock");
        EXPECT_TRUE(proxy.connect(path.c_str(), 0));
    }
    ~SystemBus() override
    {
        owner->closeInput();
        EXPECT_EQ(ownersEnd, owner->waitForExit()) << owner->readErrors();
        bus->signal(SIGTERM);
        EXPECT_EQ(busesEnd, bus->waitForExit()) << bus->readErrors();
    }

    Child start(std::vector<std::string> const& command)
    {
        return std::make_unique<ChildProcess>(command, std::vector{"QZV_RUNTIME_DIR=" + directory.path()});
    }
    Child startBus()
    {
        std::vector<std::string> command{TAVIX_BUS_PROGRAM};
        command.insert(command.end(), options.begin(), options.end());
        return start(command);
    }
    Child startOwner(std::string const& name)
    {
        Child role = start({TAVIX_TEST_ROLE, "owner", name});
        EXPECT_TRUE(role->waitForLine("ready"));
        return role;
    }
    RawClient connect() { return RawClient(connectToServerUnixDomain(path.c_str())); }

    // Takes params. Gives back the value; `result` has the code.
    std::unique_ptr<Tavix::Element> ask(char const* object, char const* method,
                                        Tavix::Element* params = nullptr)
    {
        std::unique_ptr<Tavix::Element> owned(params);
        return std::unique_ptr<Tavix::Element>(proxy.callMethod(object, method, params, result));
    }
    // The code and the value of a call.
    std::string call(char const* object, char const* method, Tavix::Element* params = nullptr)
    {
        auto value = ask(object, method, params);
        return std::to_string(result) + " " + (value ? describe(value.get()) : "nothing");
    }
    // What the owner of an object has answered until now has come to the broker's own proxy.
    void settle(char const* object)
    {
        call(object, "echo");
        call("tvx", "listObjects");
    }

    const std::vector<std::string> options;
    TempDir directory;
    const std::string path = directory.file("tavix-server-uds");
    Child bus = startBus();
    Child owner;
    int busesEnd = 0; // the exit status
    int ownersEnd = 0;
    SharedPtr<Tavix::PollLoopIf> loop{new Tavix::SelectLoopGlue};
    Tavix::TavixProxy proxy{loop};
    Tavix::RemoteProxyResult result = Tavix::PROXY_OK;
};

#endif
