// tavixctl debug: what happened last at the bus, and who is connected to it.

#include "tavixctl/BusClient.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/VerbSetup.h"

#include <tavix/elements/ListElem.h>

namespace {

struct DebugOptions {
    BusOptions bus;
    bool observers = false;
};

char const kDescription[] = "Shows the bus's last log lines, newest first, and its connections.";

char const kFooter[] =
    R"(Below each connection stand the names of the objects that it serves. With --json each entry
of the bus's answer is one JSON text.

Examples:
  tavixctl debug
  tavixctl debug --observers)";

std::string printed(std::vector<std::string> const& entries, bool json)
{
    std::string text;
    for (std::string const& entry : entries) {
        text += json ? jsonText(entry) : readableText(entry, true);
        if (json || entry.empty() || entry.back() != '\n')
            text += '\n';
    }
    return text;
}

ExitCode run(DebugOptions const& options)
{
    StandardOutput output;
    BusClient client(options.bus);
    Tavix::ListElem wanted;
    if (options.observers)
        wanted.add("observers");
    std::vector<std::string> entries;
    ExitCode code = client.connect();
    if (code == kSuccess)
        code = client.askBus("getDebug", &wanted, entries);
    return code == kSuccess ? output.print(printed(entries, options.bus.json)) : code;
}

} // namespace

void addDebugVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<DebugOptions>();
    CLI::App* verb = program.add_subcommand("debug", kDescription);
    verb->add_flag("--observers", options->observers, "The events that each connection observes as well");
    finishVerb(*verb, kFooter, options, run, action);
}
