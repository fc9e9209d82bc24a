// tarvex convert IN OUT: an element document from XML to JSON or back.

#include "cliargs.h"
#include "clierror.h"
#include "commands.h"
#include "document.h"
#include "progress.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {

int RunConvert(int argc, char** argv) {
    Arguments args(argc, argv, {{"to", 0, true}, {"quiet", 'q', false}});
    args.ExpectOperands(2, 2);
    const std::string& input = args.Operands()[0];
    const std::string& output = args.Operands()[1];
    const std::string to = args.Choice("to", {"xml", "json"}, "");

    Progress progress(!args.Has("quiet") && Progress::StandardErrorIsTerminal());
    CElement root;
    progress.Step("reading " + input);
    const DocumentFormat from = LoadDocument(input, root);

    // An explicit --to wins, then the extension of OUT; otherwise the
    // format the input is not in.
    DocumentFormat format =
        from == DocumentFormat::Xml ? DocumentFormat::Json : DocumentFormat::Xml;
    if (!to.empty())
        format = to == "xml" ? DocumentFormat::Xml : DocumentFormat::Json;
    else if (auto named = FormatOfExtension(output))
        format = *named;
    progress.Step("writing " + output);
    SaveDocument(root, output, format);
    progress.Done();
    return kExitOk;
}

} // namespace tarvex::cli
