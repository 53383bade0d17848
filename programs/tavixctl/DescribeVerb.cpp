// tavixctl describe: what an object says of its methods.

#include "tavixctl/BusClient.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/VerbSetup.h"

#include <tavix/elements/MapElem.h>
#include <tavix/elements/StringElem.h>

#include <sstream>

using namespace Tavix;

namespace {

struct DescribeOptions {
    BusOptions bus;
    std::string object;
};

char const kDescription[] = "Shows the methods of OBJECT and what it says of them.";

char const kFooter[] =
    R"(The object itself is asked, by its method "generateInterfaceDescription". An object that is
not running but could be started on demand is started by that. A service may add to its
description what it likes; all of it is shown.

With --json: {"method": ..., "details": ...} for each method, and {"member": ..., "details": ...}
for what else the description holds.

Examples:
  tavixctl describe machine
  tavixctl describe tvx --json | jq -r .method)";

std::string indented(std::string const& text, std::string const& indent)
{
    std::string lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines += indent + readableText(line) + "\n";
    return lines;
}

// Maps as headings with their members below, "description" as plain text, all else as JSON behind its name.
std::string outline(MapElem& map, std::string const& indent)
{
    std::string text;
    for (auto const& [name, child] : map) {
        auto* inner = dynamic_cast<MapElem*>(child);
        if (name == "description" && dynamic_cast<StringElem*>(child))
            text += indented(child->stringValue(), indent);
        else if (inner)
            text += indent + readableText(name) + "\n" + outline(*inner, indent + "  ");
        else
            text += indent + readableText(name) + ": " + jsonText(child) + "\n";
    }
    return text;
}

std::string jsonLines(Element& description)
{
    auto* map = dynamic_cast<MapElem*>(&description);
    if (!map)
        return JsonLine().add("details", &description).text();
    std::string text;
    for (auto const& [name, child] : *map) {
        auto* methods = name == "methods" ? dynamic_cast<MapElem*>(child) : nullptr;
        if (!methods)
            text += JsonLine().add("member", name).add("details", child).text();
        else
            for (auto const& [method, details] : *methods)
                text += JsonLine().add("method", method).add("details", details).text();
    }
    return text;
}

std::string readableForm(Element& description)
{
    auto* map = dynamic_cast<MapElem*>(&description);
    return map ? outline(*map, "") : jsonText(&description) + "\n";
}

ExitCode run(DescribeOptions const& options)
{
    StandardOutput output;
    BusClient client(options.bus);
    std::unique_ptr<Element> description;
    ExitCode code = client.connect();
    if (code == kSuccess)
        code = client.call(options.object, "generateInterfaceDescription", nullptr, description);
    if (code != kSuccess)
        return code;
    return output.print(options.bus.json ? jsonLines(*description) : readableForm(*description));
}

} // namespace

void addDescribeVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<DescribeOptions>();
    CLI::App* verb = program.add_subcommand("describe", kDescription);
    verb->add_option("OBJECT", options->object, "Name of the object; behind \"--\" if it begins with \"-\"")
        ->required()
        ->type_name("");
    finishVerb(*verb, kFooter, options, run, action);
}
