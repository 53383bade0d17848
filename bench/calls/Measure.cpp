#include "Measure.h"

#include <algorithm>

namespace Bench {

namespace {

const unsigned kFirstCalls = 64; // enough to see how long a call takes
const unsigned kMostCalls = 1000000;
const unsigned kTracedCalls = 500;

struct Samples {
    std::vector<float> time;
    std::vector<float> cpu[System::kParts];

    void add(System& system, Command const& command)
    {
        double before[System::kParts];
        for (unsigned part = 0; part < System::kParts; ++part)
            before[part] = system.process(static_cast<System::Part>(part)).cpuMicroseconds();
        time.push_back(static_cast<float>(system.run(command).microseconds));
        for (unsigned part = 0; part < System::kParts; ++part) {
            const double used =
                system.process(static_cast<System::Part>(part)).cpuMicroseconds() - before[part];
            cpu[part].push_back(static_cast<float>(used / command.calls));
        }
    }
};

// Warms both systems up, and finds how many calls fill a block of the slower one.
unsigned chooseCalls(Options const& options, System* const (&systems)[kSides], Command command)
{
    command.calls = options.calls ? options.calls : std::max(kFirstCalls, 2 * command.outstanding);
    double slowest = 0;
    for (System* system : systems) {
        system->run(command);
        slowest = std::max(slowest, system->run(command).seconds / command.calls);
    }
    if (options.calls)
        return options.calls;
    const double fitting = options.blockMilliseconds / 1e3 / slowest;
    return static_cast<unsigned>(std::clamp<double>(fitting, command.calls, kMostCalls));
}

Row measureRow(Options const& options, System* const (&systems)[kSides], Command command)
{
    command.calls = chooseCalls(options, systems, command);
    Samples samples[kSides];
    for (unsigned block = 0; block < options.blocks; ++block) {
        for (unsigned side = 0; side < kSides; ++side)
            samples[side].add(*systems[side], command);
    }
    Row row{};
    row.payload = options.sizes[command.payload];
    row.outstanding = command.outstanding;
    row.calls = command.calls;
    for (unsigned side = 0; side < kSides; ++side) {
        row.time[side] = median(samples[side].time);
        for (unsigned part = 0; part < System::kParts; ++part) {
            row.cpu[side][part] = median(samples[side].cpu[part]);
            row.syscalls[side][part] = -1;
        }
    }
    return row;
}

} // namespace

std::vector<Row> measure(Options const& options, System& tavix, System& floor)
{
    System* const systems[kSides] = {&tavix, &floor};
    bool counting = options.countSyscalls;
    std::vector<Row> rows;
    for (unsigned outstanding : options.outstanding) {
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload) {
            Command command{payload, outstanding, 0};
            rows.push_back(measureRow(options, systems, command));
            command.calls = options.calls ? options.calls : kTracedCalls;
            // Here and not after the last row: what an allocator asks of the system depends on what came before.
            for (unsigned side = 0; side < kSides && counting; ++side)
                counting = countSyscalls(options, *systems[side], command, rows.back().syscalls[side]);
        }
    }
    return rows;
}

} // namespace Bench
