#include "System.h"

#include "Clients.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace Bench {

namespace {

// The arguments of this process, for the children.
std::vector<std::string> ownArguments()
{
    std::vector<std::string> arguments;
    std::string argument;
    FILE* file = fopen("/proc/self/cmdline", "re");
    if (!file)
        fail("/proc is needed");
    for (int next = fgetc(file); next != EOF; next = fgetc(file)) {
        if (next != 0) {
            argument += static_cast<char>(next);
            continue;
        }
        arguments.push_back(argument);
        argument.clear();
    }
    fclose(file);
    arguments.at(0) = std::filesystem::read_symlink("/proc/self/exe").string();
    return arguments;
}

std::string joined(std::vector<int> const& numbers)
{
    std::string text;
    for (int number : numbers)
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

} // namespace

Outcome System::run(Command const& command)
{
    Outcome outcome;
    const int control = _controls[kCaller].get();
    if (write(control, &command, sizeof command) != static_cast<ssize_t>(sizeof command) ||
        !readWithin(control, &outcome, sizeof outcome, _options.timeoutSeconds))
        fail("a block of calls did not come to its end");
    return outcome;
}

void System::start(Part part, std::string const& role, std::vector<int> const& sockets)
{
    SocketPair control;
    std::vector<std::string> arguments = ownArguments();
    std::vector<int> kept = sockets;
    kept.push_back(control.second.get());
    arguments.insert(arguments.end(), {"--role", role, "--control", std::to_string(control.second.get())});
    if (!sockets.empty())
        arguments.insert(arguments.end(), {"--sockets", joined(sockets)});
    _processes[part] = std::make_unique<Process>(wrapped(role, arguments), kept);
    _controls[part] = std::move(control.first);
}

void System::waitReady(Part part)
{
    char ready;
    if (!readWithin(_controls[part].get(), &ready, 1, _options.timeoutSeconds))
        fail("a process of the measurement did not start");
}

std::vector<std::string> System::wrapped(std::string const& role, std::vector<std::string> arguments) const
{
    for (std::string const& wrap : _options.wrap) {
        if (wrap.compare(0, role.size() + 1, role + "=") == 0)
            arguments.insert(arguments.begin(),
                             {"/bin/sh", "-c", "exec " + wrap.substr(role.size() + 1) + " \"$@\"", "sh"});
    }
    return arguments;
}

PrivateDirectory::PrivateDirectory()
    : _path((std::filesystem::temp_directory_path() / "tavix-bench-XXXXXX").string())
{
    if (!mkdtemp(_path.data()))
        fail("a private directory cannot be made");
}

PrivateDirectory::~PrivateDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

TavixSystem::TavixSystem(Options const& options) : System(options)
{
    setenv("QZV_RUNTIME_DIR", _directory.path().c_str(), 1);
    startBus();
    start(kOwner, "owner", {});
    waitReady(kOwner);
    start(kCaller, "caller", {});
    waitReady(kCaller);
}

void TavixSystem::startBus()
{
    std::vector<std::string> arguments = ownArguments();
    if (_options.embeddedBus) {
        arguments.insert(arguments.end(), {"--role", "bus"});
    } else {
        std::string program = _options.bus;
        if (program.empty())
            program = (std::filesystem::path(arguments[0]).parent_path() / "tavix-bus").string();
        arguments = {program};
        if (_options.bufferSize > 0)
            arguments.insert(arguments.end(), {"--buffer-size", std::to_string(_options.bufferSize)});
    }
    int output[2];
    if (pipe2(output, O_CLOEXEC) != 0)
        fail("pipe");
    Descriptor reading(output[0]);
    Descriptor writing(output[1]);
    _processes[kBroker] =
        std::make_unique<Process>(wrapped("bus", arguments), std::vector<int>(), writing.get());
    writing = Descriptor();
    if (!waitForText(reading.get(), "\n", _options.timeoutSeconds))
        fail("the bus did not start");
}

FloorSystem::FloorSystem(Options const& options) : System(options)
{
    SocketPair caller;
    SocketPair owner;
    start(kBroker, "floor-bus", {caller.first.get(), owner.first.get()});
    start(kOwner, "floor-owner", {owner.second.get()});
    start(kCaller, "floor-caller", {caller.second.get()});
    for (Part part : {kBroker, kOwner, kCaller})
        waitReady(part);
}

} // namespace Bench
