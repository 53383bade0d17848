#include "Measure.h"

#include "common/Blocks.h"

namespace Bench {

namespace {

const unsigned kTracedCalls = 500;

Row measureRow(Options const& options, std::vector<System*> const& systems, Command command)
{
    command.count = chooseCount(options, systems, command);
    const std::vector<Medians> medians = measureBlocks(options, systems, command);
    Row row{};
    row.payload = options.sizes[command.payload];
    row.outstanding = command.outstanding;
    row.calls = command.count;
    for (unsigned side = 0; side < kSides; ++side) {
        row.time[side] = medians[side].time;
        row.cpu[side] = medians[side].cpu;
    }
    return row;
}

} // namespace

std::vector<Row> measure(Options const& options, System& tavix, System& floor)
{
    const std::vector<System*> systems{&tavix, &floor};
    bool counting = options.countSyscalls;
    std::vector<Row> rows;
    for (unsigned outstanding : options.outstanding) {
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload) {
            Command command{payload, outstanding, 0};
            rows.push_back(measureRow(options, systems, command));
            command.count = options.calls ? options.calls : kTracedCalls;
            // Here and not after the last row: what an allocator asks of the system depends on what came before.
            for (unsigned side = 0; side < kSides && counting; ++side)
                counting = countSyscalls(*systems[side], command, rows.back().syscalls[side]);
        }
    }
    return rows;
}

} // namespace Bench
