// tavixctl call: one method call, its argument and its result as JSON or XML.

#include "tavixctl/BusClient.h"
#include "tavixctl/DescriptorArgument.h"
#include "tavixctl/SchemaCheck.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/TreeArgument.h"
#include "tavixctl/VerbSetup.h"

#include <tavix/elements/NullElem.h>

#include <optional>
#include <vector>

namespace {

struct CallOptions {
    BusOptions bus;
    std::string object;
    std::string method;
    std::optional<std::string> argument;
    std::vector<std::string> descriptors;
    std::string format = "json";
    std::string schema;
};

char const kDescription[] = "Calls METHOD of OBJECT and prints the result, as JSON on one line or as XML.";

char const kFooter[] =
    R"(JSON has no form for some kinds of values. In a result, bytes are a text in base64, an
exception inside the value is {"exceptionstring": ..., "exceptioninteger": ...}, and an open
descriptor is null. XML keeps every kind of value but open descriptors; its doubles have six
decimals. An OBJECT or METHOD that begins with "-" goes behind "--".

Examples:
  tavixctl call machine uptime
  tavixctl call machine list '"/etc"'
  tavixctl call --timeout 2.5 machine processes 5
  echo '{"path": "/etc", "depth": 2}' | tavixctl call files find -
  tavixctl call --format xml machine load
  tavixctl call --fd to=/tmp/report:w machine report
  tavixctl call --address 192.0.2.7:5010 machine load)";

// An absent argument is a null for the service, and so for its schema.
ExitCode checkArgument(std::string const& file, Tavix::Element* argument)
{
    SchemaCheck check;
    Tavix::NullElem null;
    std::string error;
    if (!check.load(file, error) || !check.check(argument ? argument : &null, error))
        return fail(kUsage, error);
    for (auto const& found : check.errors())
        fail(kUsage, "the argument does not fit its schema: " + found.path + ": " + found.message);
    return check.errors().empty() ? kSuccess : kUsage;
}

ExitCode run(CallOptions const& options)
{
    StandardOutput output;
    const TreeForm form = kTreeForms.at(options.format);
    SharedPtr<Tavix::Element> argument;
    std::string error;
    if (options.argument) {
        argument = readArgument(form, *options.argument, error);
        if (!argument.get())
            return fail(kUsage, error);
    }
    DescriptorArguments descriptors;
    if (!descriptors.addTo(argument, options.descriptors, error))
        return fail(kUsage, error);
    ExitCode code = options.schema.empty() ? kSuccess : checkArgument(options.schema, argument.get());
    if (code != kSuccess)
        return code;
    BusClient client(options.bus);
    code = client.connect();
    if (code == kSuccess)
        code = descriptors.open(client.deadline());
    std::unique_ptr<Tavix::Element> result;
    if (code == kSuccess)
        code = client.call(options.object, options.method, argument.get(), result);
    if (code != kSuccess)
        return code;
    std::string text;
    if (!writeTree(form, result.get(), text, error))
        return fail(kUsage, "the result cannot be printed: " + error);
    return output.print(text);
}

} // namespace

void addCallVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<CallOptions>();
    CLI::App* verb = program.add_subcommand("call", kDescription);
    verb->add_option("OBJECT", options->object, "Name of the object, as its service publishes it")
        ->required()
        ->type_name("");
    verb->add_option("METHOD", options->method, "Name of the method")->required()->type_name("");
    verb->add_option_function<std::string>(
            "ARGUMENT", [options](std::string const& text) { options->argument = text; },
            "The method's parameter, as JSON text or in the form that\n"
            "--format tells; - reads it from standard input. When\n"
            "absent no value is sent. Integers have 32 bits")
        ->type_name("");
    verb->add_option("--fd", options->descriptors,
                     "Open PATH and put it under the key NAME of the ARGUMENT,\n"
                     "which is a JSON object or absent. Behind PATH may stand\n"
                     ":r to read it, which is the default, :w to empty or\n"
                     "create and write it, :rw to read and write it. A\n"
                     "named pipe waits for its other end. Any number of\n"
                     "times")
        ->type_size(1)
        ->allow_extra_args(false)
        ->type_name("NAME=PATH[:r|w|rw]");
    verb->add_option("--format", options->format,
                     "The form of ARGUMENT and result: json, which is the\n"
                     "default, or xml")
        ->check(CLI::IsMember({"json", "xml"}).description(""))
        ->type_name("FORM");
    verb->add_option("--check", options->schema,
                     "A file with the schema of ARGUMENT, as \"validate\" takes\n"
                     "it; an ARGUMENT that does not fit is not sent")
        ->type_name("SCHEMA");
    BusOptions::Texts texts;
    texts.json =
        "Changes nothing: the result is one line of JSON\nanyhow, unless --format asks for another form";
    finishVerb(*verb, kFooter, options, run, action, texts);
}
