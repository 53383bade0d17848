#include "Measure.h"

#include "common/EventFloor.h"

#include <algorithm>

namespace Bench {

namespace {

const unsigned kTracedEvents = 200;

FanOutRow measureFanOutRow(Options const& options, EventSystem& tavix, EventFloor& floor, unsigned payload)
{
    const std::vector<System*> systems{&tavix, &floor};
    const unsigned unit = acknowledgedAtOnce(options);
    Command command{payload, options.window, 0};
    command.count = chooseCount(options, systems, command, unit);
    FanOutRow row{};
    row.payload = options.sizes[payload];
    row.events = command.count;
    const std::vector<Medians> medians = measureBlocks(options, systems, command);
    std::copy(medians.begin(), medians.end(), row.medians);
    command.count = roundedUp(options.calls ? options.calls : kTracedEvents, unit);
    bool counting = options.countSyscalls;
    for (unsigned side = 0; side < kSides && counting; ++side)
        counting = countSyscalls(*systems[side], command, row.syscalls[side]);
    return row;
}

// Fills the socket of the observers that never read, so that what comes later waits in the broker.
void fillSockets(Options const& options, System& system, Command command, std::size_t frame)
{
    const unsigned unit = acknowledgedAtOnce(options);
    const std::size_t space = options.bufferSize > 0 ? static_cast<std::size_t>(options.bufferSize) : 212992;
    const std::size_t least = 256; // what the kernel counts for the smallest message is more than this
    command.count = roundedUp(static_cast<unsigned>(2 * space / std::max(frame, least)), unit);
    system.run(command);
}

// Keeps what waits for a stuck observer within the limit: first by shorter blocks, down to four windows, then by
// fewer of them.
void limitQueue(Options& options, Command& command, std::size_t frame)
{
    const std::size_t overhead = 512; // more than an event takes beside its frame
    const std::size_t most = (std::size_t(options.queueMegabytes) << 20) / (frame + overhead);
    const std::size_t least = std::min(command.count, 4 * options.window);
    const std::size_t count = std::clamp(most / options.blocks, least, std::size_t(command.count));
    options.blocks =
        static_cast<unsigned>(std::clamp(most / count, std::size_t(1), std::size_t(options.blocks)));
    command.count = roundedUp(static_cast<unsigned>(count), acknowledgedAtOnce(options));
}

StuckRow measureStuckRow(Options options, unsigned stuck, unsigned payload)
{
    EventSystem with(options, options.readers, stuck, options.loop);
    EventSystem without(options, options.readers, 0, options.loop);
    const std::vector<System*> systems{&with, &without};
    StuckRow row{};
    row.stuck = stuck;
    row.payload = options.sizes[payload];
    Command command{payload, options.window, 0};
    command.count = chooseCount(options, systems, command, acknowledgedAtOnce(options));
    limitQueue(options, command, row.payload);
    fillSockets(options, with, command, row.payload);

    Process const& broker = with.process(System::kBroker);
    const std::size_t before = broker.residentBytes();
    const std::vector<Medians> medians = measureBlocks(options, systems, command);
    row.blocks = options.blocks;
    row.events = command.count;
    row.growth = (static_cast<double>(broker.residentBytes()) - static_cast<double>(before)) /
                 (static_cast<double>(row.blocks) * row.events);
    row.with = medians[0];
    row.without = medians[1];
    return row;
}

} // namespace

std::vector<FanOutRow> measureFanOut(Options const& options)
{
    std::vector<FanOutRow> rows;
    for (unsigned observers : options.observers) {
        EventSystem tavix(options, observers, 0, options.loop);
        EventFloor floor(options, observers);
        for (unsigned payload = 0; payload < options.sizes.size(); ++payload) {
            rows.push_back(measureFanOutRow(options, tavix, floor, payload));
            rows.back().observers = observers;
        }
    }
    return rows;
}

std::vector<StuckRow> measureStuck(Options const& options)
{
    std::vector<StuckRow> rows;
    for (unsigned stuck : options.stuck) {
        for (unsigned payload = 0; payload < options.sizes.size() && stuck > 0; ++payload)
            rows.push_back(measureStuckRow(options, stuck, payload));
    }
    return rows;
}

} // namespace Bench
