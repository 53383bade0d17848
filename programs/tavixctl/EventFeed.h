#ifndef TAVIX_PROGRAMS_TAVIXCTL_EVENTFEED_H
#define TAVIX_PROGRAMS_TAVIXCTL_EVENTFEED_H

#include "tavixctl/BusClient.h"
#include "tavixctl/Interruption.h"
#include "tavixctl/StandardOutput.h"

#include <string>
#include <string_view>

// Prints a line for each event of a client as they come, until `count` lines are printed (0: without end),
// until an Interruption, the end of the time or the end of the bus. A reader that does not read holds
// everything up but the first three of these.
class EventFeed {
public:
    // The texts for --help that go with run().
    static BusOptions::Texts const kTexts;
    static void addCount(CLI::App& verb, unsigned& count);

    EventFeed(BusClient& client, StandardOutput& output, unsigned count);

    // Prints one line; for observers, inside the loop.
    void print(std::string_view line);

    // Runs once everything has been asked for. `what` is observed, in words: said on standard error when the
    // subscriptions stand.
    ExitCode run(std::string const& what);

private:
    static void onStanding(Tavix::ResponseData const* response, void* feed);
    ExitCode timeIsOver() const;

    BusClient& _client;
    StandardOutput& _output;
    const unsigned _count;
    unsigned _printed = 0;
    bool _outputGone = false;
    ExitCode _result = kSuccess;
    std::string _what;
    bool _standing = false;
    Interruption _interruption;
};

#endif
