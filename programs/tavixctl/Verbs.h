#ifndef TAVIX_PROGRAMS_TAVIXCTL_VERBS_H
#define TAVIX_PROGRAMS_TAVIXCTL_VERBS_H

#include <functional>

namespace CLI {
class App;
}

// What the chosen verb does once the whole command line has been read. Answers an ExitCode.
using VerbAction = std::function<int()>;

// Each adds its verb to the program; the parse of a command line with it sets `action`.
void addCallVerb(CLI::App& program, VerbAction& action);
void addConvertVerb(CLI::App& program, VerbAction& action);
void addDebugVerb(CLI::App& program, VerbAction& action);
void addDescribeVerb(CLI::App& program, VerbAction& action);
void addEmitVerb(CLI::App& program, VerbAction& action);
void addListVerb(CLI::App& program, VerbAction& action);
void addObserveVerb(CLI::App& program, VerbAction& action);
void addValidateVerb(CLI::App& program, VerbAction& action);
void addWaitVerb(CLI::App& program, VerbAction& action);
void addWatchVerb(CLI::App& program, VerbAction& action);

#endif
