// tavixctl observe: prints events as they come.

#include "tavixctl/EventFeed.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/VerbSetup.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

struct ObserveOptions {
    BusOptions bus;
    std::vector<std::string> names; // OBJECT and EVENT in turn
    unsigned count = 0;
};

char const kDescription[] = "Prints the events of the given pairs of OBJECT and EVENT as they come.";

char const kFooter[] =
    R"(Each event is one line, written at once: OBJECT.EVENT and the event's data as JSON. With --json:
{"object": ..., "event": ..., "data": ...}, and "identity" if the sender has one. Data that is
absent is null. An object needs not exist; one that is not running but could be started on
demand is started.

Once the bus has taken the subscriptions, and so nothing is missed any more, standard error has
a line that begins with "observing". Ctrl-C, SIGTERM and the end of whoever reads the output end
the command in order, with exit code 0. Names that begin with "-" go behind "--".

Examples:
  tavixctl observe machine load
  tavixctl observe machine load --count 3 --timeout 10
  tavixctl observe lamp on lamp off --json | jq .object)";

class Printer : public Tavix::ObjectEventObserver {
public:
    Printer(EventFeed& feed, bool json) : _feed(feed), _json(json) {}

    void event(std::string, std::string, Tavix::Element*) override {}
    void event(std::string object, std::string event, Tavix::Element* data, std::string identity) override
    {
        if (!_json)
            return _feed.print(readableText(object + "." + event) + " " + jsonText(data) + "\n");
        JsonLine line;
        line.add("object", object).add("event", event).add("data", data);
        if (!identity.empty())
            line.add("identity", identity);
        _feed.print(line.text());
    }

private:
    EventFeed& _feed;
    const bool _json;
};

using Pair = std::pair<std::string, std::string>;

// Each pair once. False when two of them are one to a proxy, which knows a pair by the joined names.
bool readPairs(std::vector<std::string> const& names, std::vector<Pair>& pairs)
{
    std::map<std::string, std::string> objects; // by the joined names
    for (size_t i = 0; i + 1 < names.size(); i += 2) {
        auto [known, isNew] = objects.emplace(names[i] + names[i + 1], names[i]);
        if (isNew)
            pairs.emplace_back(names[i], names[i + 1]);
        else if (known->second != names[i])
            return false;
    }
    return true;
}

ExitCode run(ObserveOptions const& options)
{
    StandardOutput output;
    std::vector<Pair> pairs;
    if (options.names.size() % 2 != 0)
        return fail(kUsage, "observe: the object \"" + options.names.back() + "\" has no EVENT behind it");
    if (!readPairs(options.names, pairs))
        return fail(kUsage, "observe: two pairs of the same joined names need a command each");
    BusClient client(options.bus);
    ExitCode code = client.connect();
    if (code != kSuccess)
        return code;
    EventFeed feed(client, output, options.count);
    Printer printer(feed, options.bus.json);
    std::string what = "observing";
    for (auto const& [object, event] : pairs) {
        what.append(" ").append(object).append(".").append(event);
        code = client.observe(object, event, &printer);
        if (code != kSuccess)
            return code;
    }
    return feed.run(what);
}

} // namespace

void addObserveVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<ObserveOptions>();
    CLI::App* verb = program.add_subcommand("observe", kDescription);
    // As many as there are, each as it stands: an option with extra arguments would read "[a]" as a list.
    const int many = CLI::detail::expected_max_vector_size;
    verb->add_option("OBJECT EVENT", options->names,
                     "Name of the object and of its event, any number of pairs")
        ->required()
        ->expected(many, many)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("");
    EventFeed::addCount(*verb, options->count);
    finishVerb(*verb, kFooter, options, run, action, EventFeed::kTexts);
}
