// tavixctl list: the objects of the bus.

#include "tavixctl/BusObjects.h"
#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/VerbSetup.h"

#include <clocale>
#include <cstdlib>
#include <libsmartcols.h>

namespace {

struct ListOptions {
    BusOptions bus;
    bool detailed = false;
};

char const kDescription[] = "Lists the objects of the bus, and those that it would start on demand.";

char const kFooter[] =
    R"(Each name has a line of its own, in byte order. Behind the name of an object that is not
running, and that the bus would start when it is called, stand a tab and "startable". What is
not printable in a name is shown as \xNN. Nothing is started.

With --json: {"name": ..., "state": "running" or "startable"}, and with --long "owner", which
is null for what is not running.

Examples:
  tavixctl list
  tavixctl list --long
  tavixctl list --json | jq -r 'select(.state == "startable").name')";

char const* stateOf(BusObject const& object)
{
    return object.running ? "running" : "startable";
}

std::string jsonLines(std::vector<BusObject> const& objects, bool detailed)
{
    std::string text;
    for (BusObject const& object : objects) {
        JsonLine line;
        line.add("name", object.name).add("state", stateOf(object));
        if (detailed && object.owner.empty())
            line.add("owner", static_cast<Tavix::Element*>(nullptr));
        else if (detailed)
            line.add("owner", object.owner);
        text += line.text();
    }
    return text;
}

std::string nameLines(std::vector<BusObject> const& objects)
{
    std::string text;
    for (BusObject const& object : objects)
        text += readableText(object.name) + (object.running ? "\n" : "\tstartable\n");
    return text;
}

std::string table(std::vector<BusObject> const& objects)
{
    // The names are escaped already, unless the library cannot be made to know UTF-8: then it escapes more.
    const bool knowsUtf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
    libscols_table* table = scols_new_table();
    scols_table_set_termforce(table, SCOLS_TERMFORCE_NEVER); // nothing is cut to a terminal's width
    scols_table_enable_noencoding(table, knowsUtf8);
    for (char const* column : {"NAME", "STATE", "OWNER"})
        scols_table_new_column(table, column, 0, 0);
    for (BusObject const& object : objects) {
        libscols_line* line = scols_table_new_line(table, nullptr);
        scols_line_set_data(line, 0, readableText(object.name).c_str());
        scols_line_set_data(line, 1, stateOf(object));
        scols_line_set_data(line, 2, readableText(object.owner).c_str());
    }
    char* printed = nullptr;
    scols_print_table_to_string(table, &printed);
    std::string text = printed ? printed + std::string("\n") : "";
    std::free(printed);
    scols_unref_table(table);
    return text;
}

ExitCode run(ListOptions const& options)
{
    StandardOutput output;
    BusClient client(options.bus);
    std::vector<BusObject> objects;
    ExitCode code = client.connect();
    if (code == kSuccess)
        code = listObjects(client, options.detailed, objects);
    if (code != kSuccess)
        return code;
    return output.print(options.bus.json   ? jsonLines(objects, options.detailed)
                        : options.detailed ? table(objects)
                                           : nameLines(objects));
}

} // namespace

void addListVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<ListOptions>();
    CLI::App* verb = program.add_subcommand("list", kDescription);
    verb->add_flag("--long", options->detailed, "A table that tells the owner of each object as well");
    finishVerb(*verb, kFooter, options, run, action);
}
