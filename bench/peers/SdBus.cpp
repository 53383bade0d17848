#include "SdBus.h"

#include "common/Fail.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace Bench {

namespace {

// Everything is allowed, and no limit is near what a run has in flight.
void writeConfiguration(std::string const& file, std::string const& socket)
{
    std::ofstream out(file);
    out << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:path="
        << socket
        << "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n";
    for (char const* limit :
         {"max_incoming_bytes", "max_outgoing_bytes", "max_message_size", "max_connections_per_user",
          "max_completed_connections", "max_replies_per_connection"})
        out << "  <limit name=\"" << limit << "\">1000000000</limit>\n";
    out << "</busconfig>\n";
    if (!out.flush())
        fail("the configuration of dbus-daemon cannot be written");
}

} // namespace

bool programIsThere(char const* name)
{
    char const* const path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + name).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

SdBusSystem::SdBusSystem(RunOptions const& options, unsigned parts, std::string const& broker)
    : System(options, parts)
{
    if (broker == kDbusBroker)
        startDbusBroker();
    else
        startDbusDaemon();
}

void SdBusSystem::startDbusDaemon()
{
    const std::string directory = makeDirectory();
    const std::string file = directory + "/configuration";
    writeConfiguration(file, directory + "/bus");
    startBroker(kDbusDaemon,
                {kDbusDaemon, "--config-file=" + file, "--nofork", "--nopidfile", "--print-address"});
}

} // namespace Bench
