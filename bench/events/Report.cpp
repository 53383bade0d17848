#include "Measure.h"
#include "common/EventClients.h"
#include "common/Table.h"

#include <cstdio>

namespace Bench {

namespace {

double perSecond(double microseconds)
{
    return 1e6 / microseconds;
}

std::string ratio(double value, double base)
{
    return format("%.2f", value / base);
}

void printRates(Options const& options, std::vector<FanOutRow> const& rows)
{
    Table table(
        "Delivered events per second, in thousands, and time per event in microseconds",
        {"observers", "value", "frame", "events", "tavix k/s", "floor k/s", "ratio", "tavix us", "floor us"});
    for (FanOutRow const& row : rows) {
        const double tavix = row.medians[kTavix].time;
        const double floor = row.medians[kFloor].time;
        table.add({format("%u", row.observers), payloadName(row.payload),
                   format("%zu", captureEvent(row.payload).size()),
                   format("%ux%u", options.blocks, row.events),
                   format("%.1f", perSecond(tavix) * row.observers / 1e3),
                   format("%.1f", perSecond(floor) * row.observers / 1e3), ratio(floor, tavix),
                   format("%.2f", tavix), format("%.2f", floor)});
    }
}

void printCpu(std::vector<FanOutRow> const& rows)
{
    Table table("CPU time in microseconds: broker and observers per delivery, sender per event",
                {"observers", "value", "broker", "floor", "ratio", "observers", "floor", "ratio", "sender",
                 "floor", "ratio"});
    for (FanOutRow const& row : rows) {
        std::vector<std::string> cells{format("%u", row.observers), payloadName(row.payload)};
        for (unsigned part : {+System::kBroker, +kObservers, +kSender}) {
            const double by = part == kSender ? 1 : row.observers;
            const double tavix = row.medians[kTavix].cpu[part] / by;
            const double floor = row.medians[kFloor].cpu[part] / by;
            for (std::string const& cell :
                 {format("%.3f", tavix), format("%.3f", floor), ratio(tavix, floor)})
                cells.push_back(cell);
        }
        table.add(cells);
    }
}

void printSyscalls(std::vector<FanOutRow> const& rows)
{
    Table table("System calls per event",
                {"observers", "value", "broker", "floor", "observers", "floor", "sender", "floor"});
    for (FanOutRow const& row : rows) {
        std::vector<std::string> cells{format("%u", row.observers), payloadName(row.payload)};
        for (unsigned part : {+System::kBroker, +kObservers, +kSender}) {
            for (unsigned side : {kTavix, kFloor})
                cells.push_back(format("%.2f", row.syscalls[side].at(part)));
        }
        table.add(cells);
    }
}

} // namespace

void printFanOut(Options const& options, std::vector<FanOutRow> const& rows)
{
    std::printf("events in flight: %u; floor waits with %s; %s\n", options.window, options.floorWait.c_str(),
                describeRun(options).c_str());
    printRates(options, rows);
    printCpu(rows);
    if (!rows.back().syscalls[kFloor].empty())
        printSyscalls(rows);
}

void printStuck(Options const& options, std::vector<StuckRow> const& rows)
{
    if (rows.empty())
        return;
    const std::string title = format(
        "Beside observers that never read, %u that do; aim: rate at least 0.90, memory 1 frame an event",
        options.readers);
    Table table(title, {"stuck", "value", "events", "with k/s", "without k/s", "rate", "CPU us", "without us",
                        "rate by CPU", "memory/event", "frames"});
    for (StuckRow const& row : rows) {
        const double with = row.with.allCpu;
        const double without = row.without.allCpu;
        table.add({format("%u", row.stuck), payloadName(row.payload), format("%ux%u", row.blocks, row.events),
                   format("%.1f", perSecond(row.with.time) / 1e3),
                   format("%.1f", perSecond(row.without.time) / 1e3), ratio(row.without.time, row.with.time),
                   format("%.2f", with), format("%.2f", without), ratio(without, with),
                   format("%.0f", row.growth),
                   ratio(row.growth, static_cast<double>(captureEvent(row.payload).size()))});
    }
}

} // namespace Bench
