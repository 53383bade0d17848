#ifndef TAVIX_TESTS_SUPPORT_SILENTOUTPUT_H
#define TAVIX_TESTS_SUPPORT_SILENTOUTPUT_H

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

// For its lifetime, what the process writes on standard output and standard error goes nowhere: readers show
// every block that they do not understand.
class SilentOutput {
public:
    SilentOutput()
    {
        std::fflush(stdout);
        int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~SilentOutput()
    {
        std::fflush(stdout);
        dup2(_stdout, STDOUT_FILENO);
        dup2(_stderr, STDERR_FILENO);
        close(_stdout);
        close(_stderr);
    }
    SilentOutput(SilentOutput const&) = delete;
    SilentOutput& operator=(SilentOutput const&) = delete;

private:
    int _stdout = dup(STDOUT_FILENO);
    int _stderr = dup(STDERR_FILENO);
};

#endif
