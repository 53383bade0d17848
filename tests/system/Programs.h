#ifndef TAVIX_TESTS_SYSTEM_PROGRAMS_H
#define TAVIX_TESTS_SYSTEM_PROGRAMS_H

#include "support/ChildProcess.h"
#include "support/TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using Arguments = std::vector<std::string>;

inline std::string contentOf(std::string const& file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

// The programs and the examples as processes, in a directory of their own.
class Programs : public testing::Test {
protected:
    static Arguments command(std::string const& program, Arguments const& arguments)
    {
        Arguments all{program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    // Started, and ready to serve as the line that it prints says.
    std::unique_ptr<ChildProcess> start(std::string const& program, Arguments const& arguments = {})
    {
        auto child = std::make_unique<ChildProcess>(command(program, arguments), environment);
        readyLine = child->readLine().value_or("");
        EXPECT_NE(readyLine, "") << child->readErrors();
        return child;
    }
    std::unique_ptr<ChildProcess> startBus(Arguments const& arguments = {})
    {
        return start(TAVIX_BUS_PROGRAM, arguments);
    }
    std::unique_ptr<ChildProcess> startExample(std::string const& name)
    {
        return start(TAVIX_EXAMPLES_DIR "/" + name);
    }

    ProcessResult run(std::string const& program, Arguments const& arguments, std::string const& input = {})
    {
        return runProgram(command(program, arguments), environment, input);
    }
    ProcessResult runBus(Arguments const& arguments = {}) { return run(TAVIX_BUS_PROGRAM, arguments); }
    ProcessResult call(Arguments arguments, std::string const& input = {})
    {
        arguments.insert(arguments.begin(), "call");
        return run(TAVIXCTL_PROGRAM, arguments, input);
    }

    TempDir dir;
    const std::string socketPath = dir.file("tavix-server-uds");
    const Arguments environment{"QZV_RUNTIME_DIR=" + dir.path()};
    std::string readyLine;
};

#endif
