// tavixctl watch: objects arriving and leaving, as they do.

#include "tavixctl/EventFeed.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/VerbSetup.h"

namespace {

struct WatchOptions {
    BusOptions bus;
    unsigned count = 0;
};

char const kDescription[] = "Prints the names of objects that arrive at the bus and leave it, as they do.";

char const kFooter[] =
    R"(Each is one line, written at once: "+ NAME" for an object that has arrived, "- NAME" for one that
has left. With --json: {"event": "added" or "removed", "name": ...}. "tavixctl list" tells which
are there already.

Once nothing is missed any more, standard error has the line "watching". Ctrl-C, SIGTERM and the
end of whoever reads the output end the command in order, with exit code 0.

Examples:
  tavixctl watch
  tavixctl watch --count 1
  tavixctl watch --json | jq -r 'select(.event == "removed").name')";

class Printer : public Tavix::ObjectEventObserver {
public:
    Printer(EventFeed& feed, bool json) : _feed(feed), _json(json) {}

    using ObjectEventObserver::event;
    void event(std::string, std::string event, Tavix::Element* name) override
    {
        if (!name)
            return;
        const bool added = event == "objectAdded";
        if (_json)
            _feed.print(
                JsonLine().add("event", added ? "added" : "removed").add("name", name->stringValue()).text());
        else
            _feed.print((added ? "+ " : "- ") + readableText(name->stringValue()) + "\n");
    }

private:
    EventFeed& _feed;
    const bool _json;
};

ExitCode run(WatchOptions const& options)
{
    StandardOutput output;
    BusClient client(options.bus);
    ExitCode code = client.connect();
    if (code != kSuccess)
        return code;
    EventFeed feed(client, output, options.count);
    Printer printer(feed, options.bus.json);
    for (char const* event : {"objectAdded", "objectRemoved"}) {
        code = client.observe("tvx", event, &printer);
        if (code != kSuccess)
            return code;
    }
    return feed.run("watching");
}

} // namespace

void addWatchVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<WatchOptions>();
    CLI::App* verb = program.add_subcommand("watch", kDescription);
    EventFeed::addCount(*verb, options->count);
    finishVerb(*verb, kFooter, options, run, action, EventFeed::kTexts);
}
