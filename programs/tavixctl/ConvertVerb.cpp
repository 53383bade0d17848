// tavixctl convert: a value from one form into another, without a bus.

#include "tavixctl/StandardOutput.h"
#include "tavixctl/TreeArgument.h"
#include "tavixctl/VerbSetup.h"

namespace {

struct ConvertOptions {
    std::string file = "-";
    std::string from;
    std::string to = "text";
};

char const kDescription[] = "Turns the value in FILE from one form into another and prints it.";

char const kFooter[] =
    R"(The forms:
  json  JSON text. Written, bytes, exceptions and open descriptors become what "call" says of
        them, a double that is no number null, and a byte that is no UTF-8 U+FFFD. Read, an
        integer beyond 32 bits is refused, one beyond 64 bits is a double, and of two equal
        keys the last one counts
  xml   XML with a tag for each kind of value, which keeps every kind but open descriptors
  ees   the bytes of one message on the wire, for instance as a debugger has caught it: the
        value that it carries. Written is the response with the message id 0
  hex   the same in hexadecimal digits, with white space between the bytes or without
  text  one line per node, for people; it can be written only

Doubles have six decimals in xml, ees and hex. What else a form cannot hold is refused and not
written. An error in a text is told with its line and column.

Examples:
  tavixctl convert --from xml --to json value.xml
  tavixctl call --format xml machine load | tavixctl convert --from xml --to hex
  tavixctl convert message.ees)";

// What the name of a file ends with, behind the dot.
std::string extensionOf(std::string const& file)
{
    std::size_t const dot = file.rfind('.');
    return dot == std::string::npos ? "" : file.substr(dot + 1);
}

ExitCode run(ConvertOptions const& options)
{
    StandardOutput output;
    auto const from = kTreeForms.find(options.from.empty() ? extensionOf(options.file) : options.from);
    if (from == kTreeForms.end() || from->second == TreeForm::kText)
        return fail(kUsage, "the name of the file does not tell its form: add --from json, xml, ees or hex");
    std::string error;
    SharedPtr<Tavix::Element> const value = readFile(from->second, options.file, error);
    if (!value.get())
        return fail(kUsage, error);
    TreeForm const to = kTreeForms.at(options.to);
    std::string text;
    if (!writeTree(to, value.get(), text, error))
        return fail(kUsage, std::string("the value cannot be written as ") + nameOf(to) + ": " + error);
    return output.print(text);
}

} // namespace

void addConvertVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* verb = program.add_subcommand("convert", kDescription);
    verb->add_option("FILE", options->file, "What to read; - and nothing mean standard input")->type_name("");
    verb->add_option("--from", options->from,
                     "The form of FILE: json, xml, ees or hex. Default: what\n"
                     "its name ends with")
        ->check(CLI::IsMember({"json", "xml", "ees", "hex"}).description(""))
        ->type_name("FORM");
    verb->add_option("--to", options->to,
                     "The form to print: json, xml, ees, hex, or text, which is\n"
                     "the default")
        ->check(CLI::IsMember({"json", "xml", "ees", "hex", "text"}).description(""))
        ->type_name("FORM");
    finishOfflineVerb(*verb, kFooter, options, run, action);
}
