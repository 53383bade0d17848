#ifndef TAVIX_PROGRAMS_TAVIXCTL_STANDARDOUTPUT_H
#define TAVIX_PROGRAMS_TAVIXCTL_STANDARDOUTPUT_H

#include <string>

// Keeps the real standard output for results. The library says some things on standard output, for people;
// from the construction on they go to standard error.
class StandardOutput {
public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(StandardOutput const&) = delete;
    StandardOutput& operator=(StandardOutput const&) = delete;

    // Writes all of the text. False with errno.
    bool write(std::string const& text);

private:
    int _fd;
};

#endif
