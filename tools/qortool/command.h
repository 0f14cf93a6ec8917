// qortool's subcommands: each takes the arguments after its name and returns
// the process exit code. Bad arguments throw UsageError, which main turns into
// a one-line message and exit code 2.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace qortool {

using Args = std::vector<std::string>;

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Command {
  const char* name;
  const char* synopsis;
  int (*run)(const Args& args);
};

// Writes wide text to standard output as UTF-8.
void print(const std::wstring& text);

// The subcommand's arguments (those after its name) from the wide command
// line: the narrow argv has been through the ANSI code page, which turns every
// character outside it into '?'.
std::vector<std::wstring> wideArguments(const Args& narrow);

// Parses a whole argument as a double; throws UsageError naming `what`.
double parseDouble(const std::string& text, const char* what);

int runTour(const Args& args);
int runMatrix(const Args& args);
int runChar(const Args& args);
int runNumber(const Args& args);
int runArc(const Args& args);
int runTransform(const Args& args);
int runUuid(const Args& args);
int runQuark(const Args& args);
int runCsv(const Args& args);
int runReg(const Args& args);
int runDrawDemo(const Args& args);
int runPath(const Args& args);
int runUrl(const Args& args);
int runColour(const Args& args);
int runProfile(const Args& args);
int runRender(const Args& args);

}  // namespace qortool
