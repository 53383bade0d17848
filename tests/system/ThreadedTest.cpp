// A proxy with a thread of its own, shared by many threads, while the broker and an owner die and come again.
#include "support/TestBus.h"
#include "system/SystemBus.h"
#include "tavix/ObjectEventObserver.h"
#include "tavix/TavixProxyThreaded.h"
#include "tavix/elements/IntegerElem.h"

#include <atomic>
#include <thread>

using namespace Tavix;

namespace {

constexpr int kThreads = 8, kCalls = 100000, kBurst = 50;

struct Traffic {
    TavixProxyThreaded proxy;
    std::atomic<int> answered{0}, heard{0}, wrong{0};
    Ferrule::Semaphore progress{0};
};

// One of the threads, and its object, which adds one to what it is given. The other process's gives it back. Events
// under its name hold its number.
struct Worker : Service {
    Worker(Traffic& shared, int which)
        : Service(
              [](std::string const&, Element* params) { return new IntegerElem(params->intValue() + 1); }),
          traffic(shared), number(which * kBurst), name("own" + std::to_string(which))
    {
    }

    void run()
    {
        while (traffic.answered < kCalls) {
            proxy.connect(nullptr, 0);
            if (proxy.waitForObject("clock") == PROXY_OK)
                burst();
            traffic.progress.post();
        }
    }

    struct Observer : ObjectEventObserver {
        explicit Observer(Worker& observing) : worker(observing) {}
        void event(std::string, std::string, Element* data) override
        {
            ++(data->intValue() == worker.number ? worker.traffic.heard : worker.traffic.wrong);
        }
        Worker& worker;
    };

    void burst()
    {
        Observer observer(*this);
        proxy.addObserver("clock", name, &observer);
        proxy.addSharedObject(name, this);
        IntegerElem data(number);
        proxy.sendEvent("clock", name, &data);
        Call calls[kBurst];
        int open = 0;
        for (int i = 0; i < kBurst; ++i)
            open += send(calls[i], i);
        while (open-- > 0)
            ends.wait();
        EXPECT_FALSE(ends.tryWait());
        proxy.removeSharedObject(name);
        while (proxy.removeObserver("clock", name, &observer) == PROXY_CONNECTION_ERROR)
            proxy.connect(nullptr, 0);
    }

    struct Call {
        Worker* worker;
        int expected;
    };

    // Every fifth blocks. Whether the end of this one is still to come.
    bool send(Call& call, int i)
    {
        IntegerElem params(number + i);
        call = {this, number + i + i % 2};
        std::string const& object = i % 2 ? name : "clock";
        RemoteProxyResult result;
        std::unique_ptr<Element> value;
        if (i % 5 == 0)
            value.reset(proxy.callMethod(object, "echo", &params, result));
        else if ((result = proxy.callMethodAsync(object, "echo", &params, ended, &call)) == PROXY_OK)
            return true;
        check(call, result, value.get());
        return false;
    }

    static void ended(ResponseData const* response, void* call)
    {
        Call& self = *static_cast<Call*>(call);
        Element* value = response->map->getChild("result");
        self.worker->check(self, value->isException() ? value->intValue() : PROXY_OK, value);
        self.worker->ends.post();
    }

    void check(Call const& call, int result, Element const* value)
    {
        if (result == PROXY_OK)
            ++(value->intValue() == call.expected ? traffic.answered : traffic.wrong);
        else if (result != PROXY_CONNECTION_ERROR && result != PROXY_OBJECT_NOT_FOUND)
            ++traffic.wrong;
    }

    Traffic& traffic;
    TavixProxy& proxy = traffic.proxy;
    const int number;
    const std::string name;
    Ferrule::Semaphore ends{0};
};

using Threaded = SystemBus;

TEST_F(Threaded, everyCallEndsOnceWhileTheBrokerComesAndGoes)
{
    setenv("QZV_RUNTIME_DIR", directory.path().c_str(), 1);
    std::vector<std::unique_ptr<Worker>> workers; // they serve for as long as there is a proxy
    Traffic traffic;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(&Worker::run, workers.emplace_back(std::make_unique<Worker>(traffic, i)).get());
    for (int round = 1; round <= 4; ++round) {
        while (traffic.answered < round * kCalls / 5)
            traffic.progress.wait();
        bus->signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, bus->waitForExit());
        bus = startBus();
        EXPECT_TRUE(bus->waitForLine("serving"));
        owner = startOwner("clock");
    }
    for (std::thread& thread : threads)
        thread.join();
    unsetenv("QZV_RUNTIME_DIR");
    EXPECT_EQ(0, traffic.wrong);
    EXPECT_LT(0, traffic.heard);
}

} // namespace
