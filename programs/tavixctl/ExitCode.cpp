#include "tavixctl/ExitCode.h"

#include "tavixctl/ReadableText.h"

#include <cstdio>

char const kExitCodes[] = R"(Exit codes:
  0  success
  1  a call ended in an exception; standard error has its text and code. Or what was to be
     validated is not valid
  2  wrong usage, or a value that cannot be read, written or sent
  3  no bus answers, or it ended before the command did
  4  no such object on the bus
  5  timed out
  6  the result could not be written to standard output)";

ExitCode fail(ExitCode code, std::string const& text)
{
    std::fprintf(stderr, "tavixctl: %s\n", readableText(text).c_str());
    return code;
}
