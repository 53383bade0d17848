// System calls per call: strace is attached to the processes of a system, a block runs, strace is
// detached and its summaries are read. The figures of this block serve for nothing else.

#include "common/Fail.h"
#include "common/System.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace Bench {

namespace {

class Strace {
public:
    Strace(Process const& process, std::string const& file, unsigned seconds) : _file(file)
    {
        int error[2];
        if (pipe2(error, O_CLOEXEC) != 0)
            fail("pipe");
        _messages = Descriptor(error[0]);
        Descriptor writing(error[1]);
        const std::vector<std::string> arguments{
            "strace", "-f", "-c", "-o", _file, "-p", std::to_string(process.pid())};
        _strace = std::make_unique<Process>(arguments, std::vector<int>(), -1, writing.get());
        writing = Descriptor();
        _attached = waitForText(_messages.get(), "attached", seconds);
    }

    bool isAttached() const { return _attached; }

    // Detaches and answers the number of calls that the summary tells in its last line: percentage, seconds,
    // microseconds per call, calls, errors if there were any, "total".
    double finish()
    {
        _strace->endBy(SIGINT);
        std::ifstream summary(_file);
        std::string line;
        double calls = 0;
        while (std::getline(summary, line)) {
            std::istringstream columns(line);
            std::string percentage, seconds, each;
            double number = 0;
            if (line.find("total") != std::string::npos && columns >> percentage >> seconds >> each >> number)
                calls = number;
        }
        return calls;
    }

private:
    std::string _file;
    Descriptor _messages;
    std::unique_ptr<Process> _strace;
    bool _attached = false;
};

} // namespace

bool countSyscalls(System& system, Command const& command, std::vector<double>& perCall)
{
    PrivateDirectory directory;
    std::vector<std::unique_ptr<Strace>> tracers;
    for (unsigned part = 0; part < system.parts(); ++part) {
        const std::string file = directory.path() + "/strace" + std::to_string(part);
        tracers.push_back(
            std::make_unique<Strace>(system.process(part), file, system.options().timeoutSeconds));
        if (!tracers.back()->isAttached()) {
            std::fputs("strace is not installed or may not attach: no system calls counted\n", stderr);
            return false;
        }
    }
    system.run(command);
    perCall.clear();
    for (auto const& tracer : tracers)
        perCall.push_back(tracer->finish() / command.count);
    return true;
}

} // namespace Bench
