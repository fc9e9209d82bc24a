// How a subcommand gives up: a one-line message and the exit status.
//
// Exit statuses follow diff(1) and grep(1): 0 done, 1 done with a negative
// answer (documents differ, a formula failed), 2 trouble (a bad option, a
// missing file, a document that does not read, a write that failed).
#pragma once
#include <string>

namespace tarvex::cli {

enum ExitStatus : int {
    kExitOk = 0,
    kExitNegative = 1,
    kExitTrouble = 2,
};

struct CliError {
    int status;
    std::string message;
};

// A bad command line: printed with a hint to --help.
struct UsageError {
    std::string message;
};

} // namespace tarvex::cli
