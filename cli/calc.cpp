// tarvex calc FILE [-o OUT]: calculates a whole document.

#include <chrono>
#include <cstdio>
#include <vector>

#include "cliargs.h"
#include "clierror.h"
#include "commands.h"
#include "document.h"
#include "elementpath.h"
#include "progress.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

struct FormulaState {
    CElement* element;
    const CParam* param;
    CString before;
};

std::string Plural(int64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Utf8(const CString& text) {
    return ToUtf8(text.View());
}

// An empty value would vanish from "old -> new".
std::string Shown(const CString& value) {
    return value.IsEmpty() ? "\"\"" : Utf8(value);
}

} // namespace

int RunCalc(int argc, char** argv) {
    Arguments args(argc, argv,
                   {{"output", 'o', true},
                    {"changed", 0, false},
                    {"values", 0, false},
                    {"format", 0, true},
                    {"quiet", 'q', false}});
    args.ExpectOperands(1, 1);
    const std::string& input = args.Operands()[0];
    const std::string format = args.Choice("format", {"xml", "json"}, "");
    if (!format.empty() && !args.Has("output")) throw UsageError{"--format needs --output"};
    const bool quiet = args.Has("quiet");

    Progress progress(!quiet && Progress::StandardErrorIsTerminal());
    progress.Step("reading " + input);
    CElement root;
    const DocumentFormat inputFormat = LoadDocument(input, root);

    // The values before, to tell what changed; CString copies share their
    // buffers, so this costs a pointer per formula.
    int64_t elements = 0, parameters = 0;
    std::vector<FormulaState> formulas;
    ForEachElement(root, [&](const CElement& element) {
        ++elements;
        parameters += element.GetParamsCount();
        for (int64_t i = 0; i < element.GetParamsCount(); ++i) {
            const CParam& param = *element.GetParameter(i);
            if (param.IsCalculated())
                formulas.push_back({const_cast<CElement*>(&element), &param, param.getstrValue()});
        }
    });

    progress.Step("calculating " + std::to_string(formulas.size()) + " formulas");
    const auto started = std::chrono::steady_clock::now();
    root.CalculateParameters(nullptr);
    const double milliseconds =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
            .count();

    // Which formulas failed: the value holds the error text either way, so
    // the failures are asked for one by one on the calculated tree.
    progress.Step("checking formulas");
    std::vector<std::string> errors;
    for (const FormulaState& formula : formulas) {
        CString value;
        bool isFormula = true;
        if (formula.element->CalculateParameterValue(formula.param, value, isFormula) && !isFormula)
            errors.push_back(ParameterPath(*formula.element, *formula.param) + ": " + Utf8(value));
    }

    if (args.Has("output")) {
        const std::string& output = args.Value("output");
        DocumentFormat outputFormat = FormatOfExtension(output).value_or(inputFormat);
        if (!format.empty())
            outputFormat = format == "xml" ? DocumentFormat::Xml : DocumentFormat::Json;
        progress.Step("writing " + output);
        SaveDocument(root, output, outputFormat);
    }
    progress.Done();

    if (args.Has("changed")) {
        for (const FormulaState& formula : formulas) {
            const CString& after = formula.param->getstrValue();
            if (after == formula.before) continue;
            PrintLine(ParameterPath(*formula.element, *formula.param) + ": " +
                      Shown(formula.before) + " -> " + Shown(after));
        }
        return kExitOk;
    }
    if (quiet) return kExitOk;
    if (args.Has("values")) {
        for (const FormulaState& formula : formulas)
            PrintLine(ParameterPath(*formula.element, *formula.param) + " = " +
                      Utf8(formula.param->getstrValue()));
    }
    char time[32];
    std::snprintf(time, sizeof time, "%.1f ms", milliseconds);
    PrintLine(input + ": " + Plural(elements, "element", "elements") + ", " +
              Plural(parameters, "parameter", "parameters") + ", " +
              Plural(static_cast<int64_t>(formulas.size()), "formula", "formulas") + ", " +
              Plural(static_cast<int64_t>(errors.size()), "error", "errors") + ", calculated in " +
              time);
    for (const std::string& error : errors) PrintLine("  error: " + error);
    return kExitOk;
}

} // namespace tarvex::cli
