// The subcommands that need tree comparison and the dependency graph,
// which the library does not offer yet.
#include "clierror.h"
#include "commands.h"

namespace tarvex::cli {

int RunDiff(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no tree comparison"};
}
int RunDeps(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no dependency graph"};
}

} // namespace tarvex::cli
