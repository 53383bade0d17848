#include "Measure.h"

#include <algorithm>

namespace Bench {

namespace {

typedef std::vector<std::unique_ptr<System>> Systems;

Row measureRow(Options const& options, Systems const& systems, Row row, Command command, unsigned unit)
{
    std::vector<System*> all;
    for (auto const& system : systems)
        all.push_back(system.get());
    command.count = chooseCount(options, all, command, unit);
    row.payload = options.sizes[command.payload];
    row.count = command.count;
    row.samples = sampleBlocks(options, all, command);
    return row;
}

void measureCalls(Options const& options, std::vector<Peer> const& peers, std::vector<Row>& rows)
{
    Systems systems;
    for (Peer const& peer : peers)
        systems.push_back(peer.startCalls(options));
    for (unsigned outstanding : options.outstanding) {
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload)
            rows.push_back(measureRow(options, systems, Row{Row::kCalls, outstanding, 0, 0, {}},
                                      Command{payload, outstanding, 0}, 1));
    }
}

void measureEvents(Options const& options, std::vector<Peer> const& peers, std::vector<Row>& rows)
{
    placeProcesses(options); // as a batch
    for (unsigned observers : options.observers) {
        Systems systems;
        for (Peer const& peer : peers)
            systems.push_back(peer.startEvents(options, observers));
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload)
            rows.push_back(measureRow(options, systems, Row{Row::kEvents, observers, 0, 0, {}},
                                      Command{payload, options.window, 0}, acknowledgedAtOnce(options)));
    }
}

bool asked(Options const& options, char const* rows)
{
    return std::count(options.rows.begin(), options.rows.end(), rows) > 0;
}

} // namespace

std::vector<Row> measure(Options const& options, std::vector<Peer> const& peers)
{
    std::vector<Row> rows;
    if (asked(options, "calls"))
        measureCalls(options, peers, rows);
    if (asked(options, "events"))
        measureEvents(eventOptions(options), peers, rows);
    return rows;
}

} // namespace Bench
