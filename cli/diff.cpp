// tarvex diff A B: the library's comparison of two trees, as lines by path.

#include "cliargs.h"
#include "clierror.h"
#include "commands.h"
#include "document.h"
#include "elementpath.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

std::string Utf8(const CString& text) {
    return ToUtf8(text.View());
}

// A formula is shown by its text, since equal texts compare equal whatever
// their values; any other parameter by its value.
std::string Shown(const CParam& param) {
    if (param.IsCalculated()) return Utf8(param.getValueComment());
    return param.getstrValue().IsEmpty() ? "\"\"" : Utf8(param.getstrValue());
}

void PrintParameterRecords(const CElementParamCompareRes& record) {
    const CElement& element = *record.m_pElement;
    if (record.IsNameChanged())
        PrintLine("~ " + ElementPath(element) + ": renamed to " +
                  ToUtf8(record.m_pOther->GetName()));
    for (int64_t i = 0; i < record.GetCount(); ++i) {
        const CElementParamDiff& diff = *record[i];
        if (diff.m_pFirst && diff.m_pSecond)
            PrintLine("~ " + ParameterPath(element, *diff.m_pFirst) + ": " + Shown(*diff.m_pFirst) +
                      " -> " + Shown(*diff.m_pSecond));
        else if (diff.m_pFirst)
            PrintLine("- " + ParameterPath(element, *diff.m_pFirst));
        else if (diff.m_pSecond)
            PrintLine("+ " + ParameterPath(element, *diff.m_pSecond) + " = " +
                      Shown(*diff.m_pSecond));
    }
}

} // namespace

int RunDiff(int argc, char** argv) {
    Arguments args(argc, argv, {{"ignore", 0, true}});
    args.ExpectOperands(2, 2);
    CElement first, second;
    LoadDocument(args.Operands()[0], first);
    LoadDocument(args.Operands()[1], second);

    // The library takes the names to skip as the parameters of an owner.
    CParamsOwner ignored;
    const std::string names = args.Value("ignore");
    for (size_t start = 0; start < names.size();) {
        size_t comma = names.find(',', start);
        if (comma == std::string::npos) comma = names.size();
        if (comma > start) ignored.SetParameter(FromUtf8(names.substr(start, comma - start)), u"");
        start = comma + 1;
    }

    CElement::StructDiffs structDiffs;
    CElement::ParamCompareDiffs paramDiffs;
    if (first.Compare(&second, structDiffs, paramDiffs, &ignored)) return kExitOk;
    for (int64_t i = 0; i < paramDiffs.GetLength(); ++i) PrintParameterRecords(*paramDiffs[i]);
    for (int64_t i = 0; i < structDiffs.GetLength(); ++i) {
        const CElementStructCompareRes& record = *structDiffs[i];
        if (record.m_pFirst) PrintLine("- " + ElementPath(*record.m_pFirst) + "/");
        if (record.m_pSecond) PrintLine("+ " + ElementPath(*record.m_pSecond) + "/");
    }
    return kExitNegative;
}

} // namespace tarvex::cli
