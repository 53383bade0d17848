#include "Measure.h"
#include "common/Table.h"

#include <cstdio>

namespace Bench {

namespace {

typedef std::vector<std::string> Cells;

void append(Cells& cells, Cells const& more)
{
    cells.insert(cells.end(), more.begin(), more.end());
}

// A median, and the median of the ratios block by block: blocks beside each other share what else the machine does.
Cells compared(std::vector<float> const& values, std::vector<float> const& bases, double by = 1)
{
    return {format("%.2f", median(values) / by), format("%.2f", medianRatio(values, bases))};
}

// The columns of figures, behind others.
Cells withFigures(Options const& options, Cells columns)
{
    const std::string ratio = "by " + options.loops.front() + "'s";
    append(columns, {"time", ratio, "CPU", ratio, "broker CPU", ratio});
    if (options.countSyscalls)
        columns.push_back("system calls");
    return columns;
}

// deliveries: what the broker's CPU time is by.
Cells figures(Row const& row, unsigned loop, unsigned deliveries = 1)
{
    Samples const& samples = row.loops[loop];
    Samples const& base = row.loops.front();
    Cells cells = compared(samples.time, base.time);
    append(cells, compared(samples.allCpu(), base.allCpu()));
    append(cells, compared(samples.cpu[System::kBroker], base.cpu[System::kBroker], deliveries));
    if (!row.syscalls[loop].empty())
        cells.push_back(format("%.2f", row.syscalls[loop][System::kBroker]));
    return cells;
}

std::string connections(CallSystem::Setting const& setting)
{
    const std::string active = format("%u", 2 * setting.pairs);
    return setting.idle > 0 ? active + format(" + %u idle", setting.idle) : active;
}

void printCallTimes(Options const& options, std::vector<Row> const& rows)
{
    const std::string size = payloadName(options.sizes.front());
    Table table("Calls of " + size + ": microseconds per call, CPU time of all processes and of the broker",
                withFigures(options, {"connections", "loop", "calls"}));
    for (unsigned setting = 0; setting < kCallSettings; ++setting) {
        Row const& row = rows[setting];
        for (unsigned loop = 0; loop < options.loops.size(); ++loop) {
            Cells cells{connections(callSetting(options, setting)), options.loops[loop],
                        format("%ux%u", options.blocks, row.count)};
            append(cells, figures(row, loop));
            table.add(cells);
        }
    }
}

void printIdleCost(Options const& options, Row const& alone, Row const& beside)
{
    Table table(
        format("The cost of %u idle connections: the same microseconds without and with them", options.idle),
        {"loop", "time", "with", "ratio", "broker CPU", "with", "ratio"});
    for (unsigned loop = 0; loop < options.loops.size(); ++loop) {
        Samples const& without = alone.loops[loop];
        Samples const& with = beside.loops[loop];
        std::vector<float> const& cpu = without.cpu[System::kBroker];
        Cells cells{options.loops[loop], format("%.2f", median(without.time))};
        append(cells, compared(with.time, without.time));
        cells.push_back(format("%.2f", median(cpu)));
        append(cells, compared(with.cpu[System::kBroker], cpu));
        table.add(cells);
    }
}

} // namespace

void printCalls(Options const& options, std::vector<Row> const& rows)
{
    std::printf("clients on %s; %s\n", options.clientLoop.c_str(), describeRun(options).c_str());
    printCallTimes(options, rows);
    printIdleCost(options, rows[kAlone], rows[kBesideIdle]);
}

void printFanOut(Options const& options, std::vector<FanOutRow> const& rows)
{
    Table table(
        format("Events, %u in flight: microseconds per event, CPU time of all processes, and of the broker "
               "per delivery",
               options.window),
        withFigures(options, {"observers", "value", "loop", "events", "k/s"}));
    for (FanOutRow const& row : rows) {
        for (unsigned loop = 0; loop < options.loops.size(); ++loop) {
            Cells cells{format("%u", row.observers), payloadName(row.payload), options.loops[loop],
                        format("%ux%u", options.blocks, row.count),
                        format("%.1f", 1e3 * row.observers / median(row.loops[loop].time))};
            append(cells, figures(row, loop, row.observers));
            table.add(cells);
        }
    }
}

} // namespace Bench
