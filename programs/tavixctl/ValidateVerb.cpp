// tavixctl validate: values in files against a schema, without a bus.

#include "tavixctl/Json.h"
#include "tavixctl/ReadableText.h"
#include "tavixctl/SchemaCheck.h"
#include "tavixctl/StandardOutput.h"
#include "tavixctl/TreeArgument.h"
#include "tavixctl/VerbSetup.h"

#include <algorithm>

namespace {

struct ValidateOptions {
    std::string schema;
    std::vector<std::string> instances = {"-"};
    bool closed = false;
    bool json = false;
};

char const kDescription[] = "Checks the value in each INSTANCE against SCHEMA, and prints what is wrong.";

char const kFooter[] =
    R"(The schema has the keywords of JSON Schema draft 4. A file holds JSON, or the XML that "convert"
writes; its first character tells which. For each error there is one line: the place in the
instance, such as #/list/2, and a message; with several instances, the name of the file in front.
With --json: {"file": ..., "path": ..., "message": ...}

The exit code is 0 when all instances are valid, 1 when one is not, and 2 when a file cannot be
read.

Examples:
  tavixctl validate service.schema.json service.json
  tavixctl call machine load | tavixctl validate load.schema.json
  tavixctl validate --closed --json manifest.schema.json packages/*.json)";

std::string linesOf(SchemaCheck const& check, std::string const& file, ValidateOptions const& options)
{
    std::string lines;
    for (auto const& error : check.errors()) {
        if (options.json)
            lines +=
                JsonLine().add("file", file).add("path", error.path).add("message", error.message).text();
        else
            lines += (options.instances.size() > 1 ? readableText(file) + ": " : "") +
                     readableText(error.path) + ": " + readableText(error.message) + "\n";
    }
    return lines;
}

ExitCode run(ValidateOptions const& options)
{
    StandardOutput output;
    auto const inputs = std::count(options.instances.begin(), options.instances.end(), "-");
    if (inputs + (options.schema == "-" ? 1 : 0) > 1)
        return fail(kUsage, "standard input can be read once only; name an INSTANCE");
    SchemaCheck check(!options.closed);
    std::string error;
    if (!check.load(options.schema, error))
        return fail(kUsage, error);
    ExitCode code = kSuccess;
    for (std::string const& file : options.instances) {
        SharedPtr<Tavix::Element> const instance = readTextFile(file, error);
        if (!instance.get() || !check.check(instance.get(), error)) {
            code = fail(kUsage, error);
            continue;
        }
        if (check.errors().empty())
            continue;
        if (code == kSuccess)
            code = kException;
        if (ExitCode const printed = output.print(linesOf(check, file, options)); printed != kSuccess)
            return printed;
    }
    return code;
}

} // namespace

void addValidateVerb(CLI::App& program, VerbAction& action)
{
    auto options = std::make_shared<ValidateOptions>();
    CLI::App* verb = program.add_subcommand("validate", kDescription);
    verb->add_option("SCHEMA", options->schema, "The schema; - reads it from standard input")
        ->required()
        ->type_name("");
    verb->add_option("INSTANCE", options->instances,
                     "What to check, any number of files; - and nothing mean\nstandard input")
        ->type_name("");
    verb->add_flag("--closed", options->closed,
                   "Where a schema does not say whether an object may have\n"
                   "more properties or a list more items than it names, they\n"
                   "may not");
    verb->add_flag("--json", options->json, "One line of JSON for each error");
    finishOfflineVerb(*verb, kFooter, options, run, action);
}
