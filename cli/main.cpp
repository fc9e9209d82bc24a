// tarvex: element documents from a shell or a build script. A thin host over
// the library's public interface: each subcommand reads documents, calls the
// library and prints what it answered.

#include <cstdio>
#include <cstring>
#include <string>

#include "clierror.h"
#include "commands.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {

const Command kCommands[] = {
    {"calc", "calculate every formula of a document",
     "usage: tarvex calc FILE [-o OUT] [--changed] [--format xml|json] [--quiet]\n"
     "\n"
     "Reads an XML or JSON element document (told by its content), calculates\n"
     "the formulas of the whole tree in dependency order and prints a summary:\n"
     "elements, parameters, formulas, formula errors and the time taken. Each\n"
     "failed formula is listed as PATH.NAME: error text; the error text is also\n"
     "the parameter's value, as the library leaves it.\n"
     "\n"
     "  -o, --output OUT  write the calculated document to OUT (replaced only\n"
     "                    when everything succeeded); its format is --format,\n"
     "                    else OUT's extension, else the input's format\n"
     "  --changed         print only the parameters whose values changed, as\n"
     "                    PATH.NAME: old -> new\n"
     "  --format FMT      xml or json, for OUT\n"
     "  -q, --quiet       no summary and no progress line\n"
     "\n"
     "Exit status: 0 calculated (formula errors included), 2 trouble.\n",
     RunCalc},
    {"convert", "convert a document between XML and JSON",
     "usage: tarvex convert IN OUT [--to xml|json]\n"
     "\n"
     "Reads an XML or JSON element document and writes the same tree in the\n"
     "other format (or in the one --to or OUT's extension names). OUT is\n"
     "replaced only when the whole document was written. XML is written as\n"
     "UTF-8, JSON as UTF-16LE; both formats are read in either.\n"
     "\n"
     "Exit status: 0 written, 2 trouble.\n",
     RunConvert},
    {"diff", "compare two documents element by element",
     "usage: tarvex diff A B [--ignore NAME]...\n"
     "\n"
     "Compares two element documents as the library does: children by\n"
     "position, parameters by name. Prints one line per difference, by element\n"
     "path:\n"
     "  ~ PATH: renamed to NAME        the element's name differs\n"
     "  ~ PATH.NAME: OLD -> NEW        a parameter's value or formula differs\n"
     "  - PATH.NAME                    a parameter only in A\n"
     "  + PATH.NAME = VALUE            a parameter only in B\n"
     "  - PATH/                        an element only in A\n"
     "  + PATH/                        an element only in B\n"
     "\n"
     "  --ignore NAMES    parameter names to leave out, separated by commas\n"
     "\n"
     "Exit status: 0 same, 1 different, 2 trouble.\n",
     RunDiff},
    {"eval", "evaluate one formula",
     "usage: tarvex eval FORMULA [--doc FILE [--at PATH]]\n"
     "\n"
     "Evaluates FORMULA and prints its result alone on a line. With --doc the\n"
     "formula is evaluated on an element of the document (the root, or the one\n"
     "at PATH: element names from the root down joined by '/', such as\n"
     "'Установка_100/Линия_1'; 'Опора[2]' is the second child of that name),\n"
     "reading the values as stored in the document. A leading '=' is allowed.\n"
     "A syntax error is printed with a caret under its position.\n"
     "\n"
     "Exit status: 0 evaluated, 1 the formula failed, 2 trouble.\n",
     RunEval},
    {"deps", "show what formulas depend on",
     "usage: tarvex deps FILE [--param PATH.NAME] [--format text|dot|json]\n"
     "\n"
     "Prints the dependency graph of the document's formulas: for each formula\n"
     "parameter the parameters it reads, and every cycle with its members.\n"
     "With --param, only that parameter's precedents (what it reads) and\n"
     "dependents (the formulas that read it). --format dot gives a Graphviz\n"
     "graph (render with: dot -Tsvg), json a machine-readable form.\n"
     "\n"
     "Exit status: 0 printed, 2 trouble.\n",
     RunDeps},
    {nullptr, nullptr, nullptr, nullptr},
};

void PrintLine(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

void PrintError(const std::string& text) {
    std::fflush(stdout);
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fputc('\n', stderr);
}

} // namespace tarvex::cli

namespace {

using namespace tarvex::cli;

void PrintUsage(std::FILE* out) {
    std::fprintf(out, "usage: tarvex COMMAND [ARGS]\n\ncommands:\n");
    for (const Command* command = kCommands; command->name; ++command)
        std::fprintf(out, "  %-8s %s\n", command->name, command->summary);
    std::fprintf(out, "\nRun 'tarvex COMMAND --help' for a command's options.\n");
}

bool AsksForHelp(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--") == 0) return false;
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return kExitTrouble;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintUsage(stdout);
        return kExitOk;
    }
    if (name == "--version") {
        std::printf("tarvex %s\n", TARVEX_VERSION_STRING);
        return kExitOk;
    }
    for (const Command* command = kCommands; command->name; ++command) {
        if (name != command->name) continue;
        if (AsksForHelp(argc - 2, argv + 2)) {
            std::fputs(command->help, stdout);
            return kExitOk;
        }
        try {
            return command->run(argc - 2, argv + 2);
        } catch (const UsageError& error) {
            PrintError("tarvex " + name + ": " + error.message + " (see 'tarvex " + name +
                       " --help')");
            return kExitTrouble;
        } catch (const CliError& error) {
            PrintError("tarvex " + name + ": " + error.message);
            return error.status;
        } catch (const CKVException& error) {
            PrintError("tarvex " + name + ": " + tarvex::ToUtf8(error.GetMessageW().View()));
            return kExitTrouble;
        } catch (const std::bad_alloc&) {
            PrintError("tarvex " + name + ": out of memory");
            return kExitTrouble;
        }
    }
    PrintError("tarvex: unknown command '" + name + "' (see 'tarvex --help')");
    return kExitTrouble;
}
