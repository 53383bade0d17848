#include "Measure.h"

#include <memory>

namespace Bench {

namespace {

const unsigned kTraced = 200;

typedef std::vector<std::unique_ptr<System>> Systems;

std::vector<System*> pointers(Systems const& systems)
{
    std::vector<System*> all;
    for (auto const& system : systems)
        all.push_back(system.get());
    return all;
}

// The blocks of all systems in turn, and the system calls of each if asked.
Row measureSystems(Options const& options, Systems const& systems, Command command, unsigned unit)
{
    const std::vector<System*> all = pointers(systems);
    command.count = chooseCount(options, all, command, unit);
    Row row{command.count, sampleBlocks(options, all, command), {}};
    command.count = roundedUp(options.calls ? options.calls : kTraced, unit);
    bool counting = options.countSyscalls;
    for (System* system : all) {
        row.syscalls.emplace_back();
        counting = counting && countSyscalls(*system, command, row.syscalls.back());
    }
    return row;
}

} // namespace

CallSystem::Setting callSetting(Options const& options, unsigned setting)
{
    const CallSystem::Setting settings[kCallSettings] = {{1, 0}, {1, options.idle}, {options.pairs, 0}};
    return settings[setting];
}

std::vector<Row> measureCalls(Options const& options)
{
    Systems systems;
    for (unsigned setting = 0; setting < kCallSettings; ++setting) {
        for (std::string const& loop : options.loops)
            systems.push_back(std::make_unique<CallSystem>(options, callSetting(options, setting), loop));
    }
    const Row all = measureSystems(options, systems, Command{0, 1, 0}, 1);
    std::vector<Row> rows;
    const std::size_t loops = options.loops.size();
    for (std::size_t first = 0; first < systems.size(); first += loops) {
        const auto from = static_cast<std::ptrdiff_t>(first);
        const auto to = static_cast<std::ptrdiff_t>(first + loops);
        rows.push_back(Row{all.count,
                           {all.loops.begin() + from, all.loops.begin() + to},
                           {all.syscalls.begin() + from, all.syscalls.begin() + to}});
    }
    return rows;
}

std::vector<FanOutRow> measureFanOut(Options const& options)
{
    std::vector<FanOutRow> rows;
    for (unsigned observers : options.observers) {
        Systems systems;
        for (std::string const& loop : options.loops)
            systems.push_back(std::make_unique<EventSystem>(options, observers, 0, loop));
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload) {
            const Command command{payload, options.window, 0};
            rows.push_back(FanOutRow{measureSystems(options, systems, command, acknowledgedAtOnce(options)),
                                     observers, options.sizes[payload]});
        }
    }
    return rows;
}

} // namespace Bench
