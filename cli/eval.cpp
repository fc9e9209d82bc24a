// tarvex eval FORMULA [--doc FILE [--at PATH]]: one formula, its result
// alone on a line.

#include <memory>

#include "cliargs.h"
#include "clierror.h"
#include "commands.h"
#include "document.h"
#include "elementpath.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

struct SyntaxFault {
    CString message;
    int position = 0;
};

// The evaluator's wrapper keeps only the message of a syntax error; the
// compiler itself knows where it stopped, which the caret needs.
bool FindSyntaxFault(const CString& text, CElement* element, SyntaxFault& fault) {
    qrksFunctionCompiler compiler;
    qrksVariablesContainer variables;
    try {
        std::unique_ptr<CFunction> compiled(compiler.Function(text, &variables, element));
        return false;
    } catch (const CSyntaxError& error) {
        fault = {error.GetMessageW(), error.GetPosition()};
        return true;
    }
}

// The line of the formula holding the character at `offset` (0-based,
// counted from the start of the whole text, as the compiler reports it),
// with a caret under that character: the end of the text gets its caret
// just past the last one.
std::string CaretDisplay(const CString& text, int offset) {
    std::u16string_view all = text.View();
    if (offset < 0 || static_cast<size_t>(offset) > all.size()) return {};
    size_t lineStart = 0;
    if (offset > 0) {
        size_t newline = all.rfind(u'\n', offset - 1);
        if (newline != std::u16string_view::npos) lineStart = newline + 1;
    }
    std::u16string_view line = all.substr(lineStart);
    line = line.substr(0, line.find(u'\n'));
    if (!line.empty() && line.back() == u'\r') line.remove_suffix(1);
    std::u16string caret;
    for (size_t i = lineStart; i < static_cast<size_t>(offset) && i - lineStart < line.size(); ++i)
        caret += all[i] == u'\t' ? u'\t' : u' ';
    caret += u'^';
    return "  " + ToUtf8(line) + "\n  " + ToUtf8(caret);
}

} // namespace

int RunEval(int argc, char** argv) {
    Arguments args(argc, argv, {{"doc", 'd', true}, {"at", 'a', true}});
    args.ExpectOperands(1, 1);
    if (args.Has("at") && !args.Has("doc")) throw UsageError{"--at needs --doc"};

    CString formula = FromUtf8(args.Operands()[0]);
    // A formula copied from a document keeps its leading '='.
    if (formula.GetLength() && formula[0] == u'=') formula = formula.Mid(1);

    CElement root;
    CElement* element = nullptr;
    if (args.Has("doc")) {
        LoadDocument(args.Value("doc"), root);
        element = FindElement(root, args.Value("at"));
        if (!element)
            throw CliError{kExitTrouble,
                           "no element '" + args.Value("at") + "' in '" + args.Value("doc") + "'"};
    }

    SyntaxFault fault;
    if (FindSyntaxFault(formula, element, fault)) {
        PrintError(ToUtf8(fault.message.View()));
        std::string caret = CaretDisplay(formula, fault.position);
        if (!caret.empty()) PrintError(caret);
        return kExitNegative;
    }
    CCompiledFunction function;
    CString result;
    if (!function.Initialize(formula, element)) {
        PrintError(ToUtf8(function.GetLastError().View()));
        return kExitNegative;
    }
    if (!function.IsNull()) {
        function.SetParameters(element);
        if (!function.CountStr(result)) {
            PrintError(ToUtf8(result.View()));
            return kExitNegative;
        }
    }
    PrintLine(ToUtf8(result.View()));
    return kExitOk;
}

} // namespace tarvex::cli
