// tavixctl wait: until an object is there.

#include "tavixctl/BusClient.h"
#include "tavixctl/Json.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/VerbSetup.h"

#include <tavix/ObjectEventObserver.h>

#include <algorithm>

namespace {

struct WaitOptions {
    BusOptions bus;
    std::string object;
};

char const kDescription[] = "Waits until OBJECT is there.";

char const kFooter[] =
    R"(An object that the bus would start on demand counts as there: calling it works. Nothing is
started. The command prints nothing but its exit code; with --json {"name": ...}.

Examples:
  tavixctl wait machine && tavixctl call machine uptime
  tavixctl wait machine --timeout 10 || echo "still not there")";

class Arrival : public Tavix::ObjectEventObserver {
public:
    explicit Arrival(std::string const& name) : _name(name) {}

    using ObjectEventObserver::event;
    void event(std::string, std::string, Tavix::Element* arrived) override
    {
        if (arrived && arrived->stringValue() == _name)
            there = true;
    }

    bool there = false;

private:
    const std::string _name;
};

// The list is asked for behind the subscription: what is not in it yet will be announced.
ExitCode waitFor(BusClient& client, Arrival& arrival, std::string const& object)
{
    std::vector<std::string> names;
    ExitCode code = client.observe("tvx", "objectAdded", &arrival);
    if (code == kSuccess)
        code = client.askBus("listObjects", nullptr, names);
    if (code != kSuccess || std::find(names.begin(), names.end(), object) != names.end())
        return code;
    return client.waitUntil(arrival.there, "waiting for " + object);
}

ExitCode run(WaitOptions const& options)
{
    StandardOutput output;
    Arrival arrival(options.object);
    BusClient client(options.bus);
    ExitCode code = client.connect();
    if (code == kSuccess)
        code = waitFor(client, arrival, options.object);
    if (code != kSuccess || !options.bus.json)
        return code;
    return output.print(JsonLine().add("name", options.object).text());
}

} // namespace

void addWaitVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<WaitOptions>();
    CLI::App* verb = program.add_subcommand("wait", kDescription);
    verb->add_option("OBJECT", options->object, "Name of the object; behind \"--\" if it begins with \"-\"")
        ->required()
        ->type_name("");
    finishVerb(*verb, kFooter, options, run, action);
}
