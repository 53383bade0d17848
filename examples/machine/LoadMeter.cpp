#include "LoadMeter.h"

#include "MachineFacts.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <system_error>

using namespace Tavix;

namespace {

const unsigned kMaxRunning = 16;

} // namespace

LoadMeter::~LoadMeter()
{
    {
        std::lock_guard<std::mutex> guard(_lock);
        _ending = true;
    }
    _ended.notify_all();
    _running.clear(); // each future waits for its thread
}

void LoadMeter::measure(Call const& call, double seconds)
{
    auto hasEnded = [](std::future<void> const& f) {
        return f.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    _running.erase(std::remove_if(_running.begin(), _running.end(), hasEnded), _running.end());
    ExceptionElem busy("too many measurements are under way", kSystemError);
    if (_running.size() >= kMaxRunning)
        return call->respond(&busy);
    try {
        _running.push_back(
            std::async(std::launch::async, [this, call, seconds] { return run(call, seconds); }));
    } catch (std::system_error const&) {
        call->respond(&busy); // no thread can be started
    }
}

void LoadMeter::run(Call const& call, double seconds)
{
    std::unique_ptr<Element> result(sample(seconds));
    call->respond(result.get());
}

Element* LoadMeter::sample(double seconds)
{
    CpuTimes before, after;
    bool read = readCpuTimes(before);
    {
        std::unique_lock<std::mutex> guard(_lock);
        if (_ended.wait_for(guard, std::chrono::duration<double>(seconds), [this] { return _ending; }))
            return new ExceptionElem("the service is ending", kSystemError);
    }
    if (!read || !readCpuTimes(after))
        return new ExceptionElem("cannot read /proc/stat", kSystemError);
    const double total = after.total - before.total;
    auto* map = new MapElem;
    map->addChild("busyPercent", new DoubleElem(total > 0 ? 100 * (after.busy - before.busy) / total : 0));
    map->addChild("seconds", new DoubleElem(seconds));
    return map;
}
