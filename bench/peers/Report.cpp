#include "Measure.h"
#include "common/Table.h"

#include <cstdio>

namespace Bench {

namespace {

std::vector<std::string> columns(std::vector<Peer> const& peers, char const* load)
{
    std::vector<std::string> names{load, "payload", "blocks"};
    for (Peer const& peer : peers) {
        names.push_back(peer.name);
        if (&peer != &peers.front())
            names.push_back("speed");
    }
    return names;
}

struct Figure {
    char const* title;
    double (*value)(Samples const&);
    double (Row::*speed)(std::size_t system) const;
};

const Figure kFigures[] = {
    {"time", [](Samples const& samples) { return samples.medians().time; }, &Row::speed},
    {"CPU time of all processes", [](Samples const& samples) { return samples.medians().allCpu; },
     &Row::speedByCpu},
};

void print(Options const& options, std::vector<Peer> const& peers, std::vector<Row> const& rows,
           Row::Kind kind, Figure const& figure)
{
    const bool calls = kind == Row::kCalls;
    Table table(format("%s, %s in microseconds, and the speed in times the floor's",
                       calls ? "Calls" : "Events", figure.title),
                columns(peers, calls ? "in flight" : "observers"));
    for (Row const& row : rows) {
        if (row.kind != kind)
            continue;
        std::vector<std::string> cells{format("%u", row.load), payloadName(row.payload),
                                       format("%ux%u", options.blocks, row.count)};
        for (std::size_t system = 0; system < peers.size(); ++system) {
            cells.push_back(format("%.2f", figure.value(row.samples[system])));
            if (system > 0)
                cells.push_back(format("%.2f", (row.*figure.speed)(system)));
        }
        table.add(cells);
    }
}

} // namespace

void printReport(Options const& options, std::vector<Peer> const& peers, std::vector<Row> const& rows)
{
    std::printf("events in flight: %u; floor waits with %s; %s; events as a batch\n", options.window,
                options.floorWait.c_str(), describeRun(options).c_str());
    for (Row::Kind kind : {Row::kCalls, Row::kEvents}) {
        for (Figure const& figure : kFigures) {
            if ((kind == Row::kCalls ? rows.front() : rows.back()).kind == kind)
                print(options, peers, rows, kind, figure);
        }
    }
}

} // namespace Bench
