#include "tavixctl/BusOptions.h"

#include <CLI/CLI.hpp>

namespace {

std::string checkTimeout(std::string const& text)
{
    double seconds = 0;
    bool valid = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.001 && seconds <= 1e9;
    return valid ? "" : text + " is not a time from 0.001 to 1000000000 seconds";
}

} // namespace

void BusOptions::addTo(CLI::App& verb, Texts const& texts)
{
    verb.add_flag("--json", json, texts.json);
    verb.add_option("--address", address,
                    "Where the bus is: the path of its socket, or for TCP\n"
                    "HOST, HOST:PORT or [IPV6]:PORT (port 5010 when absent).\n"
                    "Default: \"tavix-server-uds\" in the directory that\n"
                    "QZV_RUNTIME_DIR names, or in the current directory")
        ->type_name("ADDRESS");
    verb.add_option("--timeout", timeout, texts.timeout)->check(checkTimeout)->type_name("SECONDS");
}
