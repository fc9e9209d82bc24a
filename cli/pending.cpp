// The subcommand that needs the dependency graph of a calculation session,
// which the library does not offer yet.
#include "clierror.h"
#include "commands.h"

namespace tarvex::cli {

int RunDeps(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no dependency graph"};
}

} // namespace tarvex::cli
