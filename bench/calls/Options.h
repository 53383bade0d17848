#ifndef TAVIX_BENCH_CALLS_OPTIONS_H
#define TAVIX_BENCH_CALLS_OPTIONS_H

#include "common/RunOptions.h"

namespace Bench {

// What the command line says.
struct Options : RunOptions {
    std::vector<unsigned> sizes{16, 1024, 65536, 190 * 1024}; // bytes of the argument
    std::vector<unsigned> outstanding{1, 64};
    bool binary = false; // the argument is a BinaryElem, else a StringElem
    bool echo = true;    // the reply is the argument, else a null
    bool token = false;  // the object answers through its MethodInvocation, else by callMethod
};

// Reads the command line. True: go on. False: exitCode is the status to end with; the text is printed.
bool parseOptions(int argc, char** argv, Options& options, int& exitCode);

} // namespace Bench

#endif
