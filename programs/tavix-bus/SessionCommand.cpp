#include "tavix-bus/SessionCommand.h"

#include "tavix-bus/Options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

SessionCommand::SessionCommand()
    : _input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)), _output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    close(nothing);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

SessionCommand::~SessionCommand()
{
    closeStreams();
}

void SessionCommand::closeStreams()
{
    for (int* fd : {&_input, &_output}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
}

bool SessionCommand::start(std::vector<std::string> const& words, Signals const& signals, std::string& error)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string const& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    _pid = fork();
    if (_pid == 0)
        run(pointers.data(), signals);
    if (_pid < 0)
        error = std::string("cannot start a process: ") + std::strerror(errno);
    closeStreams(); // so that their other ends see when the command closes them
    return _pid > 0;
}

void SessionCommand::run(char* const* words, Signals const& signals) const
{
    dup2(_input, STDIN_FILENO);
    dup2(_output, STDOUT_FILENO);
    signals.restore();
    execvp(words[0], words);
    const int error = errno;
    std::fprintf(stderr, "tavix-bus: cannot run %s: %s\n", words[0], std::strerror(error));
    _exit(error == ENOENT ? kNotFound : kCannotRun);
}

void SessionCommand::signal(int number)
{
    if (_pid > 0)
        kill(_pid, number);
}

void SessionCommand::reap()
{
    int status = 0;
    if (_pid <= 0 || waitpid(_pid, &status, WNOHANG) != _pid)
        return;
    _pid = 0;
    _status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
