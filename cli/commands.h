// The subcommands of the command-line host. Each takes the words after its
// name, writes its result to standard output and its complaints to standard
// error, and answers an exit status (clierror.h); failures may also leave by
// CliError or UsageError, which main prints.
#pragma once
#include <string>

namespace tarvex::cli {

struct Command {
    const char* name;
    const char* summary;
    const char* help;
    int (*run)(int argc, char** argv);
};

int RunCalc(int argc, char** argv);
int RunConvert(int argc, char** argv);
int RunDiff(int argc, char** argv);
int RunEval(int argc, char** argv);
int RunDeps(int argc, char** argv);

// The table main dispatches on, terminated by an entry with a null name.
extern const Command kCommands[];

// Standard output and error take UTF-8 lines.
void PrintLine(const std::string& text);
void PrintError(const std::string& text);

} // namespace tarvex::cli
