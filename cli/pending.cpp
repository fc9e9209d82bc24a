// The subcommands that need whole-tree calculation and comparison, which
// the library does not offer yet.
#include "clierror.h"
#include "commands.h"

namespace tarvex::cli {

int RunCalc(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no whole-tree calculation"};
}
int RunDiff(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no tree comparison"};
}
int RunDeps(int, char**) {
    throw CliError{kExitTrouble, "not available: this build has no dependency graph"};
}

} // namespace tarvex::cli
