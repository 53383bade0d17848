#ifndef TAVIX_PROGRAMS_TAVIX_BUS_SESSIONCOMMAND_H
#define TAVIX_PROGRAMS_TAVIX_BUS_SESSIONCOMMAND_H

#include "tavix-bus/Signals.h"

#include <string>
#include <sys/types.h>
#include <vector>

// The command of a session, as a child process that has what this process was started with: standard input
// and output, and how signals are met.
class SessionCommand {
public:
    // Puts standard input and output aside for the command. For this process, and for others that it starts,
    // the one is empty and the other is standard error.
    SessionCommand();
    ~SessionCommand();
    SessionCommand(SessionCommand const&) = delete;
    SessionCommand& operator=(SessionCommand const&) = delete;

    // words: the program, looked up in PATH, and its arguments. A program that cannot be run shows in the
    // status. False with an error in words when there is no process.
    bool start(std::vector<std::string> const& words, Signals const& signals, std::string& error);

    void signal(int number);

    // Looks whether it has ended. Call it upon SIGCHLD.
    void reap();
    bool hasEnded() const { return _pid == 0; }
    // As a shell tells it.
    int status() const { return _status; }

private:
    [[noreturn]] void run(char* const* words, Signals const& signals) const;
    void closeStreams();

    int _input;
    int _output;
    pid_t _pid = 0;
    int _status = 0;
};

#endif
