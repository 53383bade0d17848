#ifndef TAVIX_TESTS_SUPPORT_TESTBUS_H
#define TAVIX_TESTS_SUPPORT_TESTBUS_H

#include "support/Loops.h"
#include "support/RawClient.h"
#include "tavix/SharedObjectObserver.h"
#include "tavix/TavixBus.h"
#include "tavix/TavixProxy.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// The number of descriptors that this process has open.
long countDescriptors();

// A loop that the test steps by hand; TAVIX_TEST_LOOP says of which kind.
struct StepLoop {
    // Runs passes until nothing is ready. Fails the test when that does not come to an end.
    void settle();

    SharedPtr<Tavix::PollLoopIf> loop{newTestLoop()};
};

// A bus and its clients in one thread: who waits steps the loop.
class TestBus : public StepLoop {
public:
    TestBus();

    // A client that the bus has accepted; dial leaves it waiting at the listener.
    RawClient connect();
    RawClient dial();
    // A client that owns objects of these names.
    RawClient connectOwner(std::vector<std::string> const& names);

    std::string const address; // abstract
    std::unique_ptr<Tavix::TavixBus> bus;
};

// A proxy over one end of a socket pair, and the other end in the test's hands in place of a bus.
class ProxyWithPeer : public StepLoop {
public:
    // Ends the connection, if there is one, and makes a new one. A peer that another thread uses does not step
    // the loop.
    void connect(bool stepping = true);

    std::unique_ptr<Tavix::TavixProxy> proxy{new Tavix::TavixProxy(loop)};
    std::unique_ptr<RawClient> peer;
};

// A served object that a test puts together: what `answer` gives, or what `take` does with the token.
struct Service : Tavix::SharedObjectObserver {
    using Invocation = SharedPtr<MethodInvocation>;
    using Answer = std::function<Tavix::Element*(std::string const& method, Tavix::Element* params)>;
    using SharedObjectObserver::callMethod;

    explicit Service(Answer answer) : answer(std::move(answer)) {}
    explicit Service(std::function<bool(Invocation)> take) : take(std::move(take)) {}

    Tavix::Element* callMethod(std::string objName, std::string method, Tavix::Element* params) override
    {
        return answer ? answer(method, params) : SharedObjectObserver::callMethod(objName, method, params);
    }
    bool handleMethod(Invocation invocation) override { return take && take(invocation); }

    Answer answer;
    std::function<bool(Invocation)> take;
};

// The answers to asynchronous calls, described, in the order in which they came.
struct Answers {
    // For callMethodAsync, with the object as user data.
    static void note(Tavix::ResponseData const* response, void* answers);

    std::vector<std::string> texts;
};

#endif
