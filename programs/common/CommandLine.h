#ifndef TAVIX_PROGRAMS_COMMON_COMMANDLINE_H
#define TAVIX_PROGRAMS_COMMON_COMMANDLINE_H

namespace CLI {
class App;
class ParseError;
} // namespace CLI

// Ends a parse that threw: prints what --help or --version asked for, or on standard error what was wrong.
// Answers the exit status: 0 or `usageError`.
int finishParse(CLI::App const& program, CLI::ParseError const& end, int usageError);

#endif
