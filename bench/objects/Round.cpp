#include "Round.h"

#include "common/Fail.h"

#include <ctime>

namespace Bench {

const StepText kStepTexts[kSteps] = {
    {"register objects", true},
    {"observe one event of each", true},
    {"a client without any of them leaves", false},
    {"their observer leaves", true},
    {"observe as many events of one object", true},
    {"that observer leaves", true},
    {"register objects that are observed", true},
    {"their owner leaves", true},
};

namespace {

using Frames = std::vector<std::string>;

double cpuMicroseconds()
{
    timespec used;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

template <class Action>
double costOf(Action const& action)
{
    const double before = cpuMicroseconds();
    action();
    return cpuMicroseconds() - before;
}

// A figure for work that was not done would be worse than none.
void expect(unsigned count, unsigned expected, char const* what)
{
    if (count != expected)
        fail(
            ("expected " + std::to_string(expected) + " " + what + ", got " + std::to_string(count)).c_str());
}

struct Messages {
    explicit Messages(unsigned objects)
    {
        for (unsigned i = 0; i < objects; ++i) {
            const std::string name = "object" + std::to_string(i);
            registering.push_back(makeRequest(Tavix::AddSharedObject, name, ""));
            observing.push_back(makeRequest(Tavix::AddObserver, name, "changed"));
            observingOne.push_back(makeRequest(Tavix::AddObserver, "object0", "changed" + std::to_string(i)));
        }
    }

    Frames registering;
    Frames observing;
    Frames observingOne;
};

class Round {
public:
    Round(World& world, unsigned objects, double (&microseconds)[kSteps])
        : _world(world), _objects(objects), _messages(objects), _microseconds(microseconds),
          _watcher(world.connect()), _owner(&world.connect())
    {
        world.exchange(_watcher, {makeRequest(Tavix::AddObserver, "tvx", "objectAdded"),
                                  makeRequest(Tavix::AddObserver, "tvx", "objectRemoved")});
    }

    Round(Round const&) = delete;
    Round& operator=(Round const&) = delete;
    ~Round() { _world.disconnect(_watcher); }

    void run()
    {
        registerObjects(kRegister);
        observeAndLeave(kObserve, kObserverLeaves, _messages.observing, true);
        observeAndLeave(kObserveOne, kObserverOfOneLeaves, _messages.observingOne, false);
        ownerLeaves();
        registerObserved();
        ownerLeaves();
    }

private:
    void note(Step step, double cost)
    {
        _microseconds[step] = kStepTexts[step].eachObject ? cost / _objects : cost;
    }

    void registerObjects(Step step)
    {
        _owner->resetCounts();
        _watcher.resetCounts();
        note(step, costOf([&] { _world.exchange(*_owner, _messages.registering); }));
        expect(_owner->responses(), _objects, "answers to registrations");
        expect(_watcher.events(), _objects, "arrivals");
    }

    void observeAndLeave(Step observe, Step leave, Frames const& frames, bool withBystander)
    {
        RawClient& observer = _world.connect();
        _owner->resetCounts();
        note(observe, costOf([&] { _world.exchange(observer, frames); }));
        expect(observer.responses(), _objects, "answers to an observer");
        expect(_owner->calls(), _objects, "calls of firstObserverAdded");
        if (withBystander) {
            RawClient& bystander = _world.connect();
            note(kBystanderLeaves, costOf([&] { _world.disconnect(bystander); }));
        }
        _owner->resetCounts();
        note(leave, costOf([&] { _world.disconnect(observer); }));
        expect(_owner->calls(), _objects, "calls of lastObserverRemoved");
    }

    // Observed by a client that comes before the owner.
    void registerObserved()
    {
        RawClient& observer = _world.connect();
        _world.exchange(observer, _messages.observing);
        _owner = &_world.connect();
        registerObjects(kRegisterObserved);
        expect(_owner->calls(), _objects, "calls of firstObserverAdded");
        _world.disconnect(observer);
    }

    void ownerLeaves()
    {
        _watcher.resetCounts();
        note(kOwnerLeaves, costOf([&] { _world.disconnect(*_owner); }));
        expect(_watcher.events(), _objects, "departures");
    }

    World& _world;
    const unsigned _objects;
    const Messages _messages;
    double (&_microseconds)[kSteps];
    RawClient& _watcher; // hears of every arrival and departure
    RawClient* _owner;
};

} // namespace

void runRound(World& world, unsigned objects, double (&microseconds)[kSteps])
{
    Round(world, objects, microseconds).run();
}

} // namespace Bench
