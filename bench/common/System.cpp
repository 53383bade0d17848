#include "common/System.h"

#include "common/Client.h"
#include "common/Fail.h"

#include <tavix/TavixBus.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
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

System::System(RunOptions const& options, unsigned parts) : _options(options), _processes(parts)
{
    _controls.resize(parts);
}

Outcome System::run(Command const& command)
{
    Outcome outcome;
    const int control = _controls[kDriver].get();
    if (send(control, &command, sizeof command, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof command) ||
        !readWithin(control, &outcome, sizeof outcome, _options.timeoutSeconds))
        fail("a block did not come to its end");
    return outcome;
}

void System::start(unsigned part, std::string const& role, std::vector<int> const& sockets,
                   std::vector<std::string> const& more)
{
    SocketPair control;
    std::vector<std::string> arguments = ownArguments();
    std::vector<int> kept = sockets;
    kept.push_back(control.second.get());
    arguments.insert(arguments.end(), {"--role", role, "--control", std::to_string(control.second.get())});
    if (!sockets.empty())
        arguments.insert(arguments.end(), {"--sockets", joined(sockets)});
    if (_directory)
        arguments.insert(arguments.end(), {"--directory", _directory->path()});
    arguments.insert(arguments.end(), more.begin(), more.end());
    _processes[part] = std::make_unique<Process>(wrapped(role, arguments), kept);
    _controls[part] = std::move(control.first);
}

void System::waitReady(unsigned part)
{
    char ready;
    if (!readWithin(_controls[part].get(), &ready, 1, _options.timeoutSeconds))
        fail("a process of the measurement did not start");
}

void System::startClients(unsigned part, std::string const& role, unsigned clients,
                          std::vector<int> const& sockets)
{
    start(part, role, sockets, {"--clients", std::to_string(clients)});
    waitReady(part);
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

std::vector<std::string> System::busArguments(std::string const& loop) const
{
    std::vector<std::string> arguments = ownArguments();
    if (_options.embeddedBus) {
        arguments.insert(arguments.end(), {"--role", "bus"});
    } else {
        const std::filesystem::path beside = std::filesystem::path(arguments[0]).parent_path() / "tavix-bus";
        arguments = {_options.bus.empty() ? beside.string() : _options.bus};
        if (_options.bufferSize > 0)
            arguments.insert(arguments.end(), {"--buffer-size", std::to_string(_options.bufferSize)});
    }
    if (!loop.empty())
        arguments.insert(arguments.end(), {"--loop", loop});
    return arguments;
}

std::string const& System::makeDirectory()
{
    _directory = std::make_unique<PrivateDirectory>();
    return _directory->path();
}

void System::startProgram(unsigned part, std::string const& role, std::vector<std::string> const& arguments,
                          std::vector<int> const& kept, int output)
{
    _processes[part] = std::make_unique<Process>(wrapped(role, arguments), kept, output);
}

void System::startBroker(std::string const& role, std::vector<std::string> const& arguments)
{
    int output[2];
    if (pipe2(output, O_CLOEXEC) != 0)
        fail("pipe");
    _busOutput = Descriptor(output[0]);
    Descriptor writing(output[1]);
    startProgram(kBroker, role, arguments, {}, writing.get());
    writing = Descriptor();
    if (!waitForText(_busOutput.get(), "\n", _options.timeoutSeconds))
        fail((role + " did not start").c_str());
}

void System::startBus(std::string const& loop)
{
    setenv("QZV_RUNTIME_DIR", makeDirectory().c_str(), 1);
    startBroker("bus", busArguments(loop));
}

int runEmbeddedBus(RunOptions const& options)
{
    SharedPtr<Tavix::PollLoopIf> loop(makeLoop(options.loop));
    Tavix::TavixBus bus(loop, options.bufferSize, -1, -1);
    if (!bus.isServing())
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    for (;;)
        loop->iterate();
}

} // namespace Bench
