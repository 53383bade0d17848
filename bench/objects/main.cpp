// What the bus pays for objects and observers: the cost of each should not depend on how many there are. The
// bus and its clients live in this process and the loop is stepped, so the figures are CPU time with nothing
// in them that waits.

#include "Round.h"
#include "common/Control.h"
#include "common/Fail.h"
#include "common/Program.h"
#include "common/Table.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <unistd.h>

namespace {

using namespace Bench;

struct Options {
    std::vector<unsigned> counts{100, 1000, 10000};
    unsigned rounds = 9;
};

// The samples of each step and count.
typedef std::map<std::pair<unsigned, unsigned>, std::vector<float>> Samples;

// The bus says things on standard output, which belongs to the table.
class SilentOutput {
public:
    SilentOutput() : _output(dup(STDOUT_FILENO))
    {
        const Descriptor null(open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (_output.get() < 0 || dup2(null.get(), STDOUT_FILENO) < 0)
            fail("/dev/null is needed");
    }

    SilentOutput(SilentOutput const&) = delete;
    SilentOutput& operator=(SilentOutput const&) = delete;

    ~SilentOutput()
    {
        std::fflush(stdout);
        dup2(_output.get(), STDOUT_FILENO);
    }

private:
    const Descriptor _output;
};

// The first round of each count warms up.
Samples measure(Options const& options)
{
    const SilentOutput silent;
    World world;
    Samples samples;
    for (unsigned round = 0; round <= options.rounds; ++round) {
        for (unsigned objects : options.counts) {
            double microseconds[kSteps];
            runRound(world, objects, microseconds);
            for (unsigned step = 0; step < kSteps && round > 0; ++step)
                samples[{step, objects}].push_back(static_cast<float>(microseconds[step]));
        }
    }
    return samples;
}

void print(Options const& options, Samples const& samples)
{
    std::vector<std::string> columns{"step", "cost"};
    for (unsigned objects : options.counts)
        columns.push_back(format("of %u", objects));
    for (unsigned objects : options.counts)
        columns.push_back(format("%u/%u", objects, options.counts.front()));
    Table table("CPU time in microseconds, and its ratio to the first column's", columns);
    for (unsigned step = 0; step < kSteps; ++step) {
        std::vector<std::string> cells{kStepTexts[step].text,
                                       kStepTexts[step].eachObject ? "each" : "in all"};
        std::vector<double> medians;
        for (unsigned objects : options.counts)
            medians.push_back(median(samples.at({step, objects})));
        for (double value : medians)
            cells.push_back(format("%.2f", value));
        for (double value : medians)
            cells.push_back(format("%.2f", value / medians.front()));
        table.add(cells);
    }
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app(
        "What the bus pays for each object, each observed pair and each client that leaves, as their "
        "number grows.");
    app.option_defaults()->always_capture_default();
    app.add_option("--counts", options.counts, "Objects and observed pairs, one column each")
        ->delimiter(',')
        ->check(CLI::Range(1u, 1000000u));
    app.add_option("--rounds", options.rounds, "Rounds, of which the median counts")
        ->check(CLI::Range(1u, 1000u));
    int exitCode = 0;
    if (!parseArguments(app, argc, argv, exitCode))
        return exitCode;
    return guarded([&] {
        print(options, measure(options));
        return 0;
    });
}
