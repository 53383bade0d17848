#ifndef TAVIX_BENCH_CALLS_MEASURE_H
#define TAVIX_BENCH_CALLS_MEASURE_H

#include "Options.h"
#include "common/BusSystems.h"

#include <vector>

namespace Bench {

enum Side { kTavix, kFloor, kSides };

// One combination of size and calls in flight.
struct Row {
    unsigned payload; // bytes of the argument
    unsigned outstanding;
    unsigned calls; // per block
    // Medians over the blocks, in microseconds per call.
    double time[kSides];
    std::vector<double> cpu[kSides];
    // Per call; empty when not counted.
    std::vector<double> syscalls[kSides];

    double timeRatio() const { return time[kTavix] / time[kFloor]; }
    double cpuRatio(unsigned part) const { return cpu[kTavix][part] / cpu[kFloor][part]; }
};

// Runs the blocks of every row, the two systems in turn, and counts system calls behind each row if asked.
std::vector<Row> measure(Options const& options, System& tavix, System& floor);

void printReport(Options const& options, std::vector<Row> const& rows);

} // namespace Bench

#endif
