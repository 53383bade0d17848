#include "support/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// The header of glibc 2.36 does not say it itself.
extern "C" {
#include <sys/pidfd.h>
}

namespace {

// For each single event. Programs under a sanitizer on a loaded machine are slow.
constexpr int kLimitMilliseconds = 60000;

void check(bool condition)
{
    if (!condition)
        std::abort();
}

// The variables of this process, except those that `added` sets anew, and `added` behind them.
std::vector<char*> makeEnvironment(std::vector<std::string> const& added)
{
    std::vector<char*> result;
    for (char** variable = environ; *variable; ++variable) {
        std::string const text = *variable;
        bool replaced = false;
        for (std::string const& other : added)
            replaced |= text.compare(0, text.find('=') + 1, other, 0, other.find('=') + 1) == 0;
        if (!replaced)
            result.push_back(*variable);
    }
    for (std::string const& variable : added)
        result.push_back(const_cast<char*>(variable.c_str()));
    result.push_back(nullptr);
    return result;
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> const& arguments,
                           std::vector<std::string> const& environment)
{
    int input[2], output[2], errors[2];
    // A socket, so that writing to a child that has ended raises no signal.
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) == 0);
    check(pipe2(output, O_CLOEXEC) == 0 && pipe2(errors, O_CLOEXEC) == 0);
    start(arguments, environment, {input[1], output[1], errors[1]});
    close(input[1]);
    close(output[1]);
    close(errors[1]);
    _input = input[0];
    _output.fd = output[0];
    _errors.fd = errors[0];
    fcntl(_output.fd, F_SETFL, O_NONBLOCK);
    fcntl(_errors.fd, F_SETFL, O_NONBLOCK);
}

void ChildProcess::start(std::vector<std::string> const& arguments,
                         std::vector<std::string> const& environment, int const (&childEnds)[3])
{
    // Between fork and exec nothing may allocate, so the texts are laid out before.
    std::vector<char*> argv;
    for (std::string const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp = makeEnvironment(environment);

    _pid = fork();
    check(_pid >= 0);
    if (_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (int fd = 0; fd < 3; ++fd)
            dup2(childEnds[fd], fd);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    _pidFd = pidfd_open(_pid, 0);
    check(_pidFd >= 0);
}

ChildProcess::~ChildProcess()
{
    if (!_status) {
        signal(SIGKILL);
        reap();
    }
    for (int fd : {_pidFd, _input, _output.fd, _errors.fd}) {
        if (fd >= 0)
            close(fd);
    }
}

void ChildProcess::signal(int number)
{
    pidfd_send_signal(_pidFd, number, nullptr, 0);
}

void ChildProcess::reap()
{
    int status = 0;
    while (waitpid(_pid, &status, 0) < 0 && errno == EINTR) {
    }
    _status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::write(std::string const& input)
{
    for (size_t sent = 0; sent < input.size();) {
        ssize_t n = send(_input, input.data() + sent, input.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno != EINTR)
            return; // the child does not read any more
        if (n > 0)
            sent += static_cast<size_t>(n);
    }
}

void ChildProcess::closeInput()
{
    if (_input >= 0)
        close(_input);
    _input = -1;
}

// Waits for any news and takes in what both outputs have; false when the limit passed or nothing can come.
bool ChildProcess::pump()
{
    pollfd watched[] = {{_output.fd, POLLIN, 0}, {_errors.fd, POLLIN, 0}, {_status ? -1 : _pidFd, POLLIN, 0}};
    if (_output.fd < 0 && _errors.fd < 0 && _status)
        return false;
    int ready;
    do {
        ready = poll(watched, 3, kLimitMilliseconds);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0)
        return false;
    if (watched[0].revents)
        drain(_output);
    if (watched[1].revents)
        drain(_errors);
    if (watched[2].revents)
        reap();
    return true;
}

void ChildProcess::drain(Stream& stream)
{
    char block[4096];
    ssize_t n;
    while ((n = read(stream.fd, block, sizeof block)) > 0)
        stream.unread.append(block, static_cast<size_t>(n));
    if (n == 0) {
        close(stream.fd);
        stream.fd = -1;
    }
}

std::optional<std::string> ChildProcess::nextLine(Stream& stream)
{
    size_t end;
    while ((end = stream.unread.find('\n')) == std::string::npos) {
        if (stream.fd < 0 || !pump())
            return std::nullopt;
    }
    std::string line = stream.unread.substr(0, end);
    stream.unread.erase(0, end + 1);
    return line;
}

std::optional<std::string> ChildProcess::lineWith(Stream& stream, std::string const& part)
{
    for (;;) {
        std::optional<std::string> line = nextLine(stream);
        if (!line || line->find(part) != std::string::npos)
            return line;
    }
}

std::optional<std::string> ChildProcess::readLine()
{
    return nextLine(_output);
}

std::optional<std::string> ChildProcess::waitForLine(std::string const& part)
{
    return lineWith(_output, part);
}

std::optional<std::string> ChildProcess::waitForErrorLine(std::string const& part)
{
    return lineWith(_errors, part);
}

int ChildProcess::waitForExit()
{
    while (!_status) {
        if (!pump())
            return -1;
    }
    return *_status;
}

std::string ChildProcess::readToEnd(Stream& stream)
{
    while (stream.fd >= 0 && pump()) {
    }
    return std::move(stream.unread);
}

std::string ChildProcess::readOutput()
{
    return readToEnd(_output);
}

std::string ChildProcess::readErrors()
{
    return readToEnd(_errors);
}

ProcessResult runProgram(std::vector<std::string> const& arguments,
                         std::vector<std::string> const& environment, std::string const& input)
{
    ChildProcess child(arguments, environment);
    child.write(input);
    child.closeInput();
    ProcessResult result{child.waitForExit(), {}, {}};
    result.output = child.readOutput();
    result.errors = child.readErrors();
    return result;
}
