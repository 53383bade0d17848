#include "common/CommandLine.h"
#include "tavixctl/ExitCode.h"
#include "tavixctl/Verbs.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <string>

int main(int argc, char** argv) // NOLINT(bugprone-exception-escape): without memory it ends
{
    CLI::App program("Talks to the Tavix bus of this machine from the command line.", "tavixctl");
    program.set_version_flag("--version", "tavixctl " TAVIX_VERSION);
    program.require_subcommand(1);
    program.get_formatter()->label("SUBCOMMAND", "VERB");
    program.get_formatter()->label("REQUIRED", "");
    program.footer(std::string("tavixctl VERB --help tells more of each verb.\n\n") + kExitCodes +
                   "\n\nExamples:\n  tavixctl list\n  tavixctl call machine uptime\n"
                   "  tavixctl observe machine load --count 3");
    VerbAction action;
    for (auto addVerb : {addCallVerb, addEmitVerb, addObserveVerb, addListVerb, addDescribeVerb, addWaitVerb,
                         addWatchVerb, addDebugVerb, addConvertVerb, addValidateVerb})
        addVerb(program, action);
    try {
        program.parse(argc, argv);
    } catch (CLI::ParseError const& e) {
        return finishParse(program, e, kUsage);
    }

    std::signal(SIGPIPE, SIG_IGN); // a broken pipe is an error to report like any other
    return action();
}
