#include "common/Blocks.h"

#include <algorithm>
#include <functional>

namespace Bench {

namespace {

const unsigned kFirstCount = 64; // enough to see how long one takes
const unsigned kMostCount = 1000000;

void addBlock(Samples& samples, System& system, Command const& command)
{
    std::vector<double> before;
    for (unsigned part = 0; part < system.parts(); ++part)
        before.push_back(system.process(part).cpuMicroseconds());
    samples.time.push_back(static_cast<float>(system.run(command).microseconds));
    samples.cpu.resize(system.parts());
    for (unsigned part = 0; part < system.parts(); ++part) {
        const double used = system.process(part).cpuMicroseconds() - before[part];
        samples.cpu[part].push_back(static_cast<float>(used / command.count));
    }
}

} // namespace

unsigned chooseCount(RunOptions const& options, std::vector<System*> const& systems, Command command,
                     unsigned unit)
{
    const unsigned first = options.calls ? options.calls : std::max(kFirstCount, 2 * command.outstanding);
    command.count = roundedUp(first, unit);
    float slowest = 0;
    for (System* system : systems) {
        Samples samples;
        addBlock(samples, *system, command);
        addBlock(samples, *system, command);
        slowest = std::max(slowest, samples.allCpu().back());
    }
    if (options.calls)
        return command.count;
    const double fitting = options.blockMilliseconds * 1e3 / slowest;
    return roundedUp(static_cast<unsigned>(std::clamp<double>(fitting, command.count, kMostCount)), unit);
}

unsigned roundedUp(unsigned count, unsigned unit)
{
    return (std::max(count, 1u) + unit - 1) / unit * unit;
}

std::vector<float> Samples::allCpu() const
{
    std::vector<float> sums(time.size());
    for (std::vector<float> const& part : cpu)
        std::transform(sums.begin(), sums.end(), part.begin(), sums.begin(), std::plus<float>());
    return sums;
}

Medians Samples::medians() const
{
    Medians medians;
    medians.time = median(time);
    medians.allCpu = median(allCpu());
    for (std::vector<float> const& part : cpu)
        medians.cpu.push_back(median(part));
    return medians;
}

std::vector<Samples> sampleBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                  Command const& command)
{
    std::vector<Samples> samples(systems.size());
    for (unsigned block = 0; block < options.blocks; ++block) {
        for (std::size_t i = 0; i < systems.size(); ++i)
            addBlock(samples[i], *systems[i], command);
    }
    return samples;
}

std::vector<Medians> measureBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                   Command const& command)
{
    std::vector<Medians> medians;
    for (Samples const& samples : sampleBlocks(options, systems, command))
        medians.push_back(samples.medians());
    return medians;
}

double medianRatio(std::vector<float> const& values, std::vector<float> const& bases)
{
    std::vector<float> ratios;
    for (std::size_t i = 0; i < values.size(); ++i)
        ratios.push_back(values[i] / bases[i]);
    return median(ratios);
}

} // namespace Bench
