#include "tavix/ProviderProcessesInternal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tavix {

namespace {

// What follows runs in the child, between fork and the program: nothing there may allocate or take a lock.
// Signals that the bus's process blocks, and its dead pipes, are no business of the program's.
void resetSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
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

// The child's process id; -1 after a message.
template <class Run>
int startChild(Run run, std::string const& argument)
{
    const int pid = fork();
    if (pid == 0)
        run(argument.c_str());
    if (pid < 0)
        perror("fork");
    return pid;
}

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
    const int pid = startChild(runProgram, path);
    if (pid > 0)
        watch(pid, {-1, path, false, std::move(names)});
    return pid > 0;
}

bool ProviderProcesses::startService(std::string const& service, Names names)
{
    const int pid = startChild(runServiceManager, service);
    if (pid > 0)
        watch(pid, {-1, "systemctl start " + service, true, std::move(names)});
    return pid > 0;
}

void ProviderProcesses::watch(int pid, Process&& process)
{
    process.fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); // close-on-exec
    if (process.fd < 0) {
        if (errno != ENOSYS)
            perror("pidfd_open");
        return;
    }
    void** source = nullptr;
    if (_loop->newSource(process.fd, &source) == 0) {
        _loop->sourceAddWatch(source, kReadWatch);
        if (_loop->addSource(source, endCallback, this) == 0) {
            _processes.emplace(source, std::move(process));
            return;
        }
        _loop->deleteSource(source);
    }
    close(process.fd);
}

void ProviderProcesses::registered(std::string_view name)
{
    for (auto& process : _processes) {
        Names& missing = process.second.missing;
        auto found = missing.find(name);
        if (found != missing.end())
            missing.erase(found);
    }
}

void ProviderProcesses::endCallback(void** source, void* processes)
{
    static_cast<ProviderProcesses*>(processes)->reap(source);
}

void ProviderProcesses::reap(void** source)
{
    Process const& process = _processes.at(source);
    siginfo_t end{};
    const bool known = waitid(P_PIDFD, static_cast<id_t>(process.fd), &end, WEXITED | WNOHANG) == 0;
    if (known && end.si_pid == 0)
        return; // lives
    const bool accepted = process.onlyAsks && known && end.si_code == CLD_EXITED && end.si_status == 0;
    if (!process.missing.empty() && !accepted) {
        std::printf("%s ended with %s, not registered:", process.command.c_str(),
                    describeEnd(known, end).c_str());
        char const* separator = " ";
        for (std::string const& name : process.missing) {
            std::printf("%s%s", separator, name.c_str());
            separator = ", ";
        }
        std::printf("\n");
    }
    forget(source);
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
