#include "common/Process.h"

#include "common/Fail.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Bench {

namespace {

const int kEndMilliseconds = 5000;

[[noreturn]] void becomeProgram(std::vector<std::string> const& arguments, std::vector<int> const& kept,
                                int output, int error)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int fd : kept)
        fcntl(fd, F_SETFD, 0);
    if (output >= 0)
        dup2(output, STDOUT_FILENO);
    if (error >= 0)
        dup2(error, STDERR_FILENO);
    std::vector<char*> argv;
    for (std::string const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    perror(argv[0]);
    _exit(127);
}

bool readableWithin(int fd, unsigned seconds)
{
    pollfd poller{fd, POLLIN, 0};
    return poll(&poller, 1, static_cast<int>(seconds) * 1000) == 1;
}

} // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(_fd, other._fd);
    return *this;
}

Descriptor::~Descriptor()
{
    if (_fd >= 0)
        close(_fd);
}

int Descriptor::release()
{
    return std::exchange(_fd, -1);
}

SocketPair::SocketPair()
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        fail("socketpair");
    first = Descriptor(pair[0]);
    second = Descriptor(pair[1]);
}

Process::Process(std::vector<std::string> const& arguments, std::vector<int> const& kept, int output,
                 int error)
    : _pid(fork())
{
    if (_pid < 0)
        fail("fork");
    if (_pid == 0)
        becomeProgram(arguments, kept, output, error);
}

Process::~Process()
{
    endBy(SIGTERM);
    endBy(SIGKILL);
}

void Process::endBy(int signal)
{
    if (_pid <= 0)
        return;
    kill(_pid, signal);
    Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, _pid, 0)));
    pollfd poller{handle.get(), POLLIN, 0};
    if (poll(&poller, 1, kEndMilliseconds) == 1 && waitpid(_pid, nullptr, 0) == _pid)
        _pid = -1;
}

double Process::cpuMicroseconds() const
{
    clockid_t clock;
    timespec used;
    if (clock_getcpuclockid(_pid, &clock) != 0 || clock_gettime(clock, &used) != 0)
        fail("the CPU time of a process cannot be read");
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

std::size_t Process::residentBytes() const
{
    std::ifstream file("/proc/" + std::to_string(_pid) + "/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    if (!(file >> size >> resident))
        fail("/proc is needed");
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

bool readWithin(int fd, void* data, std::size_t length, unsigned seconds)
{
    char* target = static_cast<char*>(data);
    while (length > 0) {
        if (!readableWithin(fd, seconds))
            return false;
        const ssize_t got = read(fd, target, length);
        if (got <= 0)
            return false;
        target += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

bool waitForText(int fd, std::string const& text, unsigned seconds)
{
    std::string seen;
    char next;
    while (seen.find(text) == std::string::npos) {
        if (!readWithin(fd, &next, 1, seconds))
            return false;
        seen += next;
    }
    return true;
}

} // namespace Bench
