#ifndef TAVIX_TESTS_SUPPORT_CHILDPROCESS_H
#define TAVIX_TESTS_SUPPORT_CHILDPROCESS_H

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A program that a test has started: standard input, output and error are joined to the test. Every wait is
// bounded, with a limit that only a fault reaches. Lines and ends are waited for, never time.
//
// The child dies with the thread that started it, and with this object.
class ChildProcess {
public:
    // arguments: the program's path first. environment: "NAME=value" texts set beside the test's own.
    explicit ChildProcess(std::vector<std::string> const& arguments,
                          std::vector<std::string> const& environment = {});
    // Ends the child by its own process id and waits for its end.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    pid_t pid() const { return _pid; }

    void write(std::string const& input);
    void closeInput();

    // The next line of standard output without its end; nothing when the output ended or the limit passed.
    std::optional<std::string> readLine();
    // Reads lines up to and with the first that contains `part`; nothing as above.
    std::optional<std::string> waitForLine(std::string const& part);
    // The same on standard error.
    std::optional<std::string> waitForErrorLine(std::string const& part);

    void signal(int number);
    // The exit status; 128 + number after a signal; -1 when the limit passed. Standard input stays as it is,
    // the outputs are read meanwhile.
    int waitForExit();

    // Everything not yet read, up to its end: for a child that has ended or is about to.
    std::string readOutput();
    std::string readErrors();

private:
    struct Stream {
        int fd = -1; // -1 at the end
        std::string unread;
    };

    void start(std::vector<std::string> const& arguments, std::vector<std::string> const& environment,
               int const (&childEnds)[3]);
    bool pump();
    static void drain(Stream& stream);
    std::optional<std::string> nextLine(Stream& stream);
    std::optional<std::string> lineWith(Stream& stream, std::string const& part);
    std::string readToEnd(Stream& stream);
    void reap();

    pid_t _pid = -1;
    int _pidFd = -1;
    int _input = -1;
    Stream _output;
    Stream _errors;
    std::optional<int> _status;
};

struct ProcessResult {
    int status;
    std::string output;
    std::string errors;
};

// Runs a program to its end, with `input` as all of its standard input.
ProcessResult runProgram(std::vector<std::string> const& arguments,
                         std::vector<std::string> const& environment = {}, std::string const& input = {});

#endif
