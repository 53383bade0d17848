#ifndef TAVIX_PROGRAMS_TAVIXCTL_VERBSETUP_H
#define TAVIX_PROGRAMS_TAVIXCTL_VERBSETUP_H

#include "tavixctl/BusOptions.h"
#include "tavixctl/ExitCode.h"
#include "tavixctl/Verbs.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

// Gives a verb what all verbs have: a place in the list of verbs, the footer
// with the exit codes behind it, and `run` as what it does.
template <class Options>
void finishOfflineVerb(CLI::App& verb, char const* footer, std::shared_ptr<Options> const& options,
                       ExitCode (*run)(Options const&), VerbAction& action)
{
    verb.group("Verbs");
    verb.footer(std::string(footer) + "\n\n" + kExitCodes);
    verb.callback([options, run, &action] { action = [options, run] { return run(*options); }; });
}

// And for a verb that talks to the bus: the options of `options->bus`.
template <class Options>
void finishVerb(CLI::App& verb, char const* footer, std::shared_ptr<Options> const& options,
                ExitCode (*run)(Options const&), VerbAction& action, BusOptions::Texts const& texts = {})
{
    options->bus.addTo(verb, texts);
    finishOfflineVerb(verb, footer, options, run, action);
}

#endif
