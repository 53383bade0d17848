#ifndef TAVIX_BENCH_LOOPS_MEASURE_H
#define TAVIX_BENCH_LOOPS_MEASURE_H

#include "Options.h"
#include "common/Blocks.h"
#include "common/BusSystems.h"

namespace Bench {

// One setting, with each loop in turn.
struct Row {
    unsigned count; // calls or events per block
    std::vector<Samples> loops;
    std::vector<std::vector<double>> syscalls; // per call or event, of each loop; empty when not counted
};

// Calls between one pair alone, one pair beside idle connections, and many pairs. The blocks of all settings and
// loops take turns, so that any two of them can be compared.
enum CallSetting { kAlone, kBesideIdle, kManyPairs, kCallSettings };

CallSystem::Setting callSetting(Options const& options, unsigned setting);
std::vector<Row> measureCalls(Options const& options);

// Events, the blocks of the loops in turn.
struct FanOutRow : Row {
    unsigned observers;
    unsigned payload; // bytes of the value
};

std::vector<FanOutRow> measureFanOut(Options const& options);

void printCalls(Options const& options, std::vector<Row> const& rows);
void printFanOut(Options const& options, std::vector<FanOutRow> const& rows);

} // namespace Bench

#endif
