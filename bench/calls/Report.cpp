#include "Clients.h"
#include "Frames.h"
#include "Measure.h"

#include <cstdarg>
#include <cstdio>
#include <libsmartcols.h>

namespace Bench {

namespace {

std::string format(char const* text, ...)
{
    char buffer[128];
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(buffer, sizeof buffer, text, arguments);
    va_end(arguments);
    return buffer;
}

class Table {
public:
    Table(char const* title, std::vector<char const*> const& columns) : _table(scols_new_table())
    {
        std::printf("\n%s\n\n", title);
        for (char const* column : columns)
            scols_table_new_column(_table, column, 0, SCOLS_FL_RIGHT);
    }

    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;

    ~Table()
    {
        scols_print_table(_table);
        scols_unref_table(_table);
    }

    void add(std::vector<std::string> const& cells)
    {
        libscols_line* line = scols_table_new_line(_table, nullptr);
        for (std::size_t i = 0; i < cells.size(); ++i)
            scols_line_set_data(line, i, cells[i].c_str());
    }

private:
    libscols_table* _table;
};

std::string payloadName(unsigned bytes)
{
    return bytes >= 1024 && bytes % 1024 == 0 ? format("%u KiB", bytes / 1024) : format("%u B", bytes);
}

void printTimes(Options const& options, std::vector<Row> const& rows)
{
    Table table("Time per call in microseconds (in flight 1: median round trip); aim: ratio at most 1.15",
                {"in flight", "argument", "request", "reply", "calls", "tavix", "floor", "ratio"});
    for (Row const& row : rows) {
        const FramePair frames = captureFrames(options, row.payload);
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
        for (System::Part part : {System::kBroker, System::kCaller, System::kOwner}) {
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
        for (System::Part part : {System::kBroker, System::kCaller, System::kOwner}) {
            for (unsigned side : {kTavix, kFloor})
                cells.push_back(format("%.2f", row.syscalls[side][part]));
        }
        table.add(cells);
    }
}

} // namespace

void printReport(Options const& options, std::vector<Row> const& rows)
{
    std::printf("argument: %s; reply: %s, by %s; floor waits with %s; %s; socket buffers: %s\n",
                options.binary ? "binary" : "string", options.echo ? "the argument" : "null",
                options.token ? "token" : "value", options.floorWait.c_str(),
                options.cpu < 0 ? "not pinned" : format("all processes on CPU %d", options.cpu).c_str(),
                options.bufferSize ? format("%d bytes", options.bufferSize).c_str() : "default");
    printTimes(options, rows);
    printCpu(rows);
    if (rows.back().syscalls[kFloor][System::kOwner] >= 0)
        printSyscalls(rows);
}

} // namespace Bench
