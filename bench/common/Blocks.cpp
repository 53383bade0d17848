#include "common/Blocks.h"

#include <algorithm>

namespace Bench {

namespace {

const unsigned kFirstCount = 64; // enough to see how long one takes
const unsigned kMostCount = 1000000;

class Samples {
public:
    explicit Samples(System& system) : _system(system), _cpu(system.parts()) {}

    void add(Command const& command)
    {
        std::vector<double> before;
        for (unsigned part = 0; part < _system.parts(); ++part)
            before.push_back(_system.process(part).cpuMicroseconds());
        _time.push_back(static_cast<float>(_system.run(command).microseconds));
        for (unsigned part = 0; part < _system.parts(); ++part) {
            const double used = _system.process(part).cpuMicroseconds() - before[part];
            _cpu[part].push_back(static_cast<float>(used / command.count));
        }
    }

    Medians medians() const
    {
        Medians medians;
        medians.time = median(_time);
        for (std::vector<float> const& part : _cpu)
            medians.cpu.push_back(median(part));
        return medians;
    }

private:
    System& _system;
    std::vector<float> _time;
    std::vector<std::vector<float>> _cpu;
};

} // namespace

unsigned chooseCount(RunOptions const& options, std::vector<System*> const& systems, Command command,
                     unsigned unit)
{
    const unsigned first = options.calls ? options.calls : std::max(kFirstCount, 2 * command.outstanding);
    command.count = roundedUp(first, unit);
    double slowest = 0;
    for (System* system : systems) {
        system->run(command);
        slowest = std::max(slowest, system->run(command).seconds / command.count);
    }
    if (options.calls)
        return command.count;
    const double fitting = options.blockMilliseconds / 1e3 / slowest;
    return roundedUp(static_cast<unsigned>(std::clamp<double>(fitting, command.count, kMostCount)), unit);
}

unsigned roundedUp(unsigned count, unsigned unit)
{
    return (std::max(count, 1u) + unit - 1) / unit * unit;
}

std::vector<Medians> measureBlocks(RunOptions const& options, std::vector<System*> const& systems,
                                   Command const& command)
{
    std::vector<Samples> samples;
    for (System* system : systems)
        samples.emplace_back(*system);
    for (unsigned block = 0; block < options.blocks; ++block) {
        for (Samples& system : samples)
            system.add(command);
    }
    std::vector<Medians> medians;
    for (Samples const& system : samples)
        medians.push_back(system.medians());
    return medians;
}

} // namespace Bench
