#ifndef TAVIX_BENCH_PEERS_MEASURE_H
#define TAVIX_BENCH_PEERS_MEASURE_H

#include "Peers.h"
#include "common/Blocks.h"

namespace Bench {

// One combination of size and calls in flight, or of size and observers.
struct Row {
    enum Kind { kCalls, kEvents };

    Kind kind;
    unsigned load;                // calls in flight, or observers
    unsigned payload;             // bytes
    unsigned count;               // calls or events per block
    std::vector<Samples> samples; // the floor's, and those of each peer

    // How many times the floor's speed the system has: by time, and by the CPU time of all its processes.
    double speed(std::size_t system) const { return medianRatio(samples[0].time, samples[system].time); }
    double speedByCpu(std::size_t system) const
    {
        return medianRatio(samples[0].allCpu(), samples[system].allCpu());
    }
};

// Runs the blocks of every row, all systems in turn.
std::vector<Row> measure(Options const& options, std::vector<Peer> const& peers);

void printReport(Options const& options, std::vector<Peer> const& peers, std::vector<Row> const& rows);

} // namespace Bench

#endif
