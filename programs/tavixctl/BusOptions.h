#ifndef TAVIX_PROGRAMS_TAVIXCTL_BUSOPTIONS_H
#define TAVIX_PROGRAMS_TAVIXCTL_BUSOPTIONS_H

#include <string>

namespace CLI {
class App;
}

// What every verb can be told.
struct BusOptions {
    std::string address; // empty for the default socket
    double timeout = 0;  // seconds, 0 for no limit
    bool json = false;

    // What the texts of --help say of the two options whose meaning depends on the verb.
    struct Texts {
        char const* timeout = "Give up after this time, fractions allowed, for\n"
                              "connecting and everything else together. Default: wait\n"
                              "as long as it takes";
        char const* json = "One line of JSON for each item, and nothing else on\n"
                           "standard output";
    };

    void addTo(CLI::App& verb, Texts const& texts);
};

#endif
