#include "Measure.h"
#include "common/CallFrames.h"
#include "common/Table.h"

#include <cstdio>

namespace Bench {

namespace {

void printTimes(Options const& options, std::vector<Row> const& rows)
{
    Table table("Time per call in microseconds (in flight 1: median round trip); aim: ratio at most 1.15",
                {"in flight", "argument", "request", "reply", "calls", "tavix", "floor", "ratio"});
    for (Row const& row : rows) {
        const FramePair frames = captureFrames(options.style, row.payload);
        table.add({format("%u", row.outstanding), payloadName(row.payload),
                   format("%zu", frames.request.size()), format("%zu", frames.reply.size()),
                   format("%ux%u", options.blocks, row.calls), format("%.2f", row.time[kTavix]),
                   format("%.2f", row.time[kFloor]), format("%.2f", row.timeRatio())});
    }
}

void printCpu(std::vector<Row> const& rows)
{
    Table table("CPU time per call in microseconds; aim: ratio of the broker at most 1.2",
                {"in flight", "argument", "broker", "floor", "ratio", "caller", "floor", "ratio", "owner",
                 "floor", "ratio"});
    for (Row const& row : rows) {
        std::vector<std::string> cells{format("%u", row.outstanding), payloadName(row.payload)};
        for (unsigned part : {+System::kBroker, +kCaller, +kOwner}) {
            cells.push_back(format("%.2f", row.cpu[kTavix][part]));
            cells.push_back(format("%.2f", row.cpu[kFloor][part]));
            cells.push_back(format("%.2f", row.cpuRatio(part)));
        }
        table.add(cells);
    }
}

void printSyscalls(std::vector<Row> const& rows)
{
    Table table("System calls per call; aim: no more than the floor",
                {"in flight", "argument", "broker", "floor", "caller", "floor", "owner", "floor"});
    for (Row const& row : rows) {
        std::vector<std::string> cells{format("%u", row.outstanding), payloadName(row.payload)};
        for (unsigned part : {+System::kBroker, +kCaller, +kOwner}) {
            for (unsigned side : {kTavix, kFloor})
                cells.push_back(format("%.2f", row.syscalls[side][part]));
        }
        table.add(cells);
    }
}

} // namespace

void printReport(Options const& options, std::vector<Row> const& rows)
{
    std::printf("argument: %s; reply: %s, by %s; floor waits with %s; %s\n",
                options.style.binary ? "binary" : "string", options.style.echo ? "the argument" : "null",
                options.style.token ? "token" : "value", options.floorWait.c_str(),
                describeRun(options).c_str());
    printTimes(options, rows);
    printCpu(rows);
    if (!rows.back().syscalls[kFloor].empty())
        printSyscalls(rows);
}

} // namespace Bench
