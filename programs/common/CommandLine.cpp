#include "common/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

int finishParse(CLI::App const& program, CLI::ParseError const& end, int usageError)
{
    if (end.get_exit_code() == 0)
        return program.exit(end);
    std::string name = program.get_name();
    std::string error = end.what();
    const bool verbMissing = program.get_require_subcommand_min() > 0 && program.get_subcommands().empty();
    if (verbMissing && program.remaining().empty())
        error = "a verb is required";
    else if (verbMissing)
        error = (program.remaining().front()[0] == '-' ? "there is no option \"" : "there is no verb \"") +
                program.remaining().front() + "\"";
    for (CLI::App const* verb : program.get_subcommands())
        name += " " + verb->get_name();
    std::fprintf(stderr, "%s: %s\n%s --help tells the usage.\n", program.get_name().c_str(), error.c_str(),
                 name.c_str());
    return usageError;
}
