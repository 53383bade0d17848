#include "tavix/ProviderProcessesInternal.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tavix {

namespace {

// What follows runs in the child, between fork and the program: nothing there may allocate or take a lock.
// Neither the handlers of the bus's process, which must not run in the child, nor the signals that it blocks,
// nor its dead pipes are any business of the program's.
void resetSignals()
{
    struct sigaction action;
    for (int number = 1; number < NSIG; ++number) {
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            signal(number, SIG_DFL);
    }
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void runProgram(char const* path)
{
    resetSignals();
    execl(path, path, nullptr);
    perror(path);
    _exit(1);
}

[[noreturn]] void runServiceManager(char const* service)
{
    resetSignals();
    for (char const* path :
         {"/bin/systemctl", "/sbin/systemctl", "/usr/bin/systemctl", "/usr/sbin/systemctl"})
        execl(path, "systemctl", "start", service, nullptr);
    perror("execl");
    _exit(1);
}

// The child's process id; -1 after a message. Signals wait until the child has let go of the handlers.
template <class Run>
int startChild(Run run, std::string const& argument)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int pid = fork();
    if (pid == 0)
        run(argument.c_str());
    if (pid < 0)
        perror("fork");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return pid;
}

// A provider may connect, register and end at once: the loop then finds its end and its connection in the same
// pass, in any order. One pass accepts the connection and one more reads each name; the pass after them tells.
constexpr int kPassesToWait = 3;

// In words. Nothing is known of a child that the embedding program has reaped or does not want to know of.
std::string describeEnd(bool known, siginfo_t const& end)
{
    if (!known)
        return "unknown status";
    return (end.si_code == CLD_EXITED ? "status " : "signal ") + std::to_string(end.si_status);
}

} // namespace

ProviderProcesses::~ProviderProcesses()
{
    while (!_processes.empty())
        forget(_processes.begin()->first);
}

bool ProviderProcesses::startProgram(std::string const& path, Names names)
{
    reapUnwatched();
    const int pid = startChild(runProgram, path);
    if (pid > 0)
        watch({pid, -1, 0, path, false, std::move(names)});
    return pid > 0;
}

bool ProviderProcesses::startService(std::string const& service, Names names)
{
    reapUnwatched();
    const int pid = startChild(runServiceManager, service);
    if (pid > 0)
        watch({pid, -1, 0, "systemctl start " + service, true, std::move(names)});
    return pid > 0;
}

void ProviderProcesses::watch(Process&& process)
{
    process.fd = static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0)); // close-on-exec
    if (process.fd < 0 && errno != ENOSYS)
        perror("pidfd_open");
    if (void** source = makeSource(process.fd)) {
        _processes.emplace(source, std::move(process));
        return;
    }
    if (process.fd >= 0)
        close(process.fd);
    process.fd = -1;
    _unwatched.push_back(std::move(process));
}

// Null when there is no descriptor, or the loop does not take it.
void** ProviderProcesses::makeSource(int fd)
{
    void** source = nullptr;
    if (fd < 0 || _loop->newSource(fd, &source) != 0)
        return nullptr;
    _loop->sourceAddWatch(source, kReadWatch);
    if (_loop->addSource(source, endCallback, this) == 0)
        return source;
    _loop->deleteSource(source);
    return nullptr;
}

void ProviderProcesses::registered(std::string_view name)
{
    for (auto& process : _processes)
        process.second.registered(name);
    for (Process& process : _unwatched)
        process.registered(name);
    reapUnwatched();
}

void ProviderProcesses::Process::registered(std::string_view name)
{
    auto found = missing.find(name);
    if (found == missing.end())
        return;
    missing.erase(found);
    passes = 0;
}

void ProviderProcesses::endCallback(void** source, void* processes)
{
    static_cast<ProviderProcesses*>(processes)->handleEnd(source);
}

void ProviderProcesses::handleEnd(void** source)
{
    Process& process = _processes.at(source);
    if (!process.missing.empty() && ++process.passes < kPassesToWait)
        return;
    if (process.reap())
        forget(source);
    reapUnwatched();
}

void ProviderProcesses::reapUnwatched()
{
    auto ended = [](Process const& process) { return process.reap(); };
    _unwatched.erase(std::remove_if(_unwatched.begin(), _unwatched.end(), ended), _unwatched.end());
}

// False while it lives. Says what is missing.
bool ProviderProcesses::Process::reap() const
{
    siginfo_t end{};
    const bool known = waitid(fd >= 0 ? P_PIDFD : P_PID, static_cast<id_t>(fd >= 0 ? fd : pid), &end,
                              WEXITED | WNOHANG) == 0;
    if (known && end.si_pid == 0)
        return false;
    const bool accepted = onlyAsks && known && end.si_code == CLD_EXITED && end.si_status == 0;
    if (missing.empty() || accepted)
        return true;
    std::printf("%s ended with %s, not registered:", command.c_str(), describeEnd(known, end).c_str());
    char const* separator = " ";
    for (std::string const& name : missing) {
        std::printf("%s%s", separator, name.c_str());
        separator = ", ";
    }
    std::printf("\n");
    return true;
}

void ProviderProcesses::forget(void** source)
{
    auto process = _processes.find(source);
    _loop->removeSource(source);
    _loop->deleteSource(source);
    close(process->second.fd);
    _processes.erase(process);
}

} // namespace Tavix
