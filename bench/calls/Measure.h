#ifndef TAVIX_BENCH_CALLS_MEASURE_H
#define TAVIX_BENCH_CALLS_MEASURE_H

#include "System.h"

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
    double cpu[kSides][System::kParts];
    // Per call; below 0 when not counted.
    double syscalls[kSides][System::kParts];

    double timeRatio() const { return time[kTavix] / time[kFloor]; }
    double cpuRatio(System::Part part) const { return cpu[kTavix][part] / cpu[kFloor][part]; }
};

// Runs the blocks of every row, the two systems in turn, and counts system calls behind each row if asked.
std::vector<Row> measure(Options const& options, System& tavix, System& floor);

// Counts the system calls per call of each process in one more block. False, after a line on standard error,
// when strace cannot be used.
bool countSyscalls(Options const& options, System& system, Command const& command,
                   double (&perCall)[System::kParts]);

void printReport(Options const& options, std::vector<Row> const& rows);

} // namespace Bench

#endif
