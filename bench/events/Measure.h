#ifndef TAVIX_BENCH_EVENTS_MEASURE_H
#define TAVIX_BENCH_EVENTS_MEASURE_H

#include "Options.h"
#include "common/Blocks.h"
#include "common/BusSystems.h"

namespace Bench {

enum Side { kTavix, kFloor, kSides };

// One number of observers and one size, in both systems.
struct FanOutRow {
    unsigned observers;
    unsigned payload; // bytes of the value
    unsigned events;  // per block
    Medians medians[kSides];
    std::vector<double> syscalls[kSides]; // per event; empty when not counted
};

// One number of observers that never read and one size, beside a system without them. Fewer blocks than usual
// where many would queue too much.
struct StuckRow {
    unsigned stuck;
    unsigned payload;
    unsigned blocks;
    unsigned events; // per block
    Medians with;
    Medians without;
    double growth; // of the broker's memory, in bytes per event
};

std::vector<FanOutRow> measureFanOut(Options const& options);
std::vector<StuckRow> measureStuck(Options const& options);

void printFanOut(Options const& options, std::vector<FanOutRow> const& rows);
void printStuck(Options const& options, std::vector<StuckRow> const& rows);

} // namespace Bench

#endif
