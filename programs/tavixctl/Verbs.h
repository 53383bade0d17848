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

#endif
