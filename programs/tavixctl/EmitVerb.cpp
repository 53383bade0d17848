// tavixctl emit: sends one event.

#include "tavixctl/BusClient.h"
#include "tavixctl/Json.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/TreeArgument.h"
#include "tavixctl/VerbSetup.h"

#include <optional>

namespace {

struct EmitOptions {
    BusOptions bus;
    std::string object;
    std::string event;
    std::optional<std::string> data;
};

char const kDescription[] = "Sends EVENT under the name of OBJECT to everybody who observes it.";

char const kFooter[] =
    R"(OBJECT needs not exist, and nobody has to observe the event. When the command ends with
success the bus has handed the event on to all observers. It prints nothing; with --json the
event, as "observe" does. A name that begins with "-" goes behind "--".

Examples:
  tavixctl emit machine restarted
  tavixctl emit lamp changed '{"brightness": 0.5}'
  generate-report | tavixctl emit report ready -)";

ExitCode run(EmitOptions const& options)
{
    StandardOutput output;
    SharedPtr<Tavix::Element> data;
    std::string error;
    if (options.data) {
        data = readArgument(TreeForm::kJson, *options.data, error);
        if (!data.get())
            return fail(kUsage, error);
    }
    BusClient client(options.bus);
    std::unique_ptr<Tavix::Element> answer;
    ExitCode code = client.connect();
    if (code == kSuccess)
        code = client.sendEvent(options.object, options.event, data.get());
    // The bus takes the messages of a connection in their order: with the answer to this it has the event.
    if (code == kSuccess)
        code = client.call("tvx", "generateInterfaceDescription", nullptr, answer);
    if (code != kSuccess || !options.bus.json)
        return code;
    JsonLine line;
    line.add("object", options.object).add("event", options.event).add("data", data.get());
    return output.print(line.text());
}

} // namespace

void addEmitVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<EmitOptions>();
    CLI::App* verb = program.add_subcommand("emit", kDescription);
    verb->add_option("OBJECT", options->object, "Name of the object")->required()->type_name("");
    verb->add_option("EVENT", options->event, "Name of the event")->required()->type_name("");
    verb->add_option_function<std::string>(
            "JSON", [options](std::string const& text) { options->data = text; },
            "The event's data, as JSON text; - reads it from standard\n"
            "input. When absent the event carries none")
        ->type_name("");
    finishVerb(*verb, kFooter, options, run, action);
}
