#ifndef TAVIX_BENCH_COMMON_PROGRAM_H
#define TAVIX_BENCH_COMMON_PROGRAM_H

#include "common/RunOptions.h"
#include "common/System.h"

#include <functional>

namespace Bench {

// What a child process does under --role; it runs until its peers go and answers the exit status.
template <class Options>
struct Role {
    char const* name;
    std::function<int(Options const&)> run;
};

// Answers the program's status: what body throws is 1, with a line on standard error.
int guarded(std::function<int()> const& body);

// The main of a program of several processes: in the parent it measures and prints, in a child it plays its role.
// Every program knows the role "bus".
template <class Options, unsigned count>
int runProgram(Options const& options, Role<Options> const (&roles)[count],
               void (*measureAll)(Options const&))
{
    return guarded([&] {
        if (options.role.empty()) {
            placeProcesses(options);
            measureAll(options);
            return 0;
        }
        if (options.role == "bus")
            return runEmbeddedBus(options);
        for (Role<Options> const& role : roles) {
            if (options.role == role.name)
                return role.run(options);
        }
        return 2;
    });
}

} // namespace Bench

#endif
