// tarvex deps FILE [--param PATH.NAME] [--format text|dot|json]: what the
// formulas of a document read, as the calculation session sees it.

#include <unordered_map>
#include <unordered_set>

#include "cliargs.h"
#include "clierror.h"
#include "commands.h"
#include "document.h"
#include "elementpath.h"
#include "tarvex/element/calc/elementcalcsession.h"
#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

using ParamList = CElementCalcSession::ParamList;

class Graph {
public:
    explicit Graph(CElement& root) : session(&root) {
        ForEachElement(root, [&](const CElement& element) {
            for (int64_t i = 0; i < element.GetParamsCount(); ++i) {
                const CParam* param = element.GetParameter(i);
                owners[param] = &element;
                if (param->IsCalculated()) formulas.push_back(param);
            }
        });
        // The graph stands as of a full run.
        session.Calculate();
        for (const ParamList& cycle : session.Cycles())
            for (const CParam* member : cycle) inCycle.insert(member);
    }

    std::string Path(const CParam* param) const {
        auto hit = owners.find(param);
        return hit == owners.end() ? ToUtf8(param->getName().View())
                                   : ParameterPath(*hit->second, *param);
    }

    CElementCalcSession session;
    std::unordered_map<const CParam*, const CElement*> owners;
    ParamList formulas; // in tree order
    std::unordered_set<const CParam*> inCycle;
};

std::string JsonString(const std::string& utf8) {
    std::string out = "\"";
    for (unsigned char ch : utf8) {
        if (ch == '"' || ch == '\\') {
            out += '\\';
            out += static_cast<char>(ch);
        } else if (ch < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", ch);
            out += escape;
        } else {
            out += static_cast<char>(ch);
        }
    }
    return out + "\"";
}

std::string JsonList(const Graph& graph, const ParamList& params) {
    std::string out = "[";
    for (size_t i = 0; i < params.size(); ++i)
        out += (i ? ", " : "") + JsonString(graph.Path(params[i]));
    return out + "]";
}

// DOT identifiers are quoted strings; only '"' and '\' need escaping.
std::string DotId(const std::string& utf8) {
    std::string out = "\"";
    for (char ch : utf8) {
        if (ch == '"' || ch == '\\') out += '\\';
        out += ch;
    }
    return out + "\"";
}

void PrintText(const Graph& graph, const CParam* only) {
    if (only) {
        PrintLine(graph.Path(only));
        for (const CParam* p : graph.session.Precedents(only))
            PrintLine("  reads " + graph.Path(p));
        for (const CParam* p : graph.session.Dependents(only))
            PrintLine("  read by " + graph.Path(p));
    } else {
        for (const CParam* formula : graph.formulas) {
            PrintLine(graph.Path(formula));
            for (const CParam* p : graph.session.Precedents(formula))
                PrintLine("  reads " + graph.Path(p));
        }
    }
    for (const ParamList& cycle : graph.session.Cycles()) {
        if (only && std::find(cycle.begin(), cycle.end(), only) == cycle.end()) continue;
        std::string line = "cycle:";
        for (const CParam* member : cycle) line += " " + graph.Path(member) + " ->";
        PrintLine(line + " " + graph.Path(cycle.front()));
    }
}

void PrintDot(const Graph& graph, const CParam* only) {
    PrintLine("digraph dependencies {");
    PrintLine("  rankdir=LR;");
    PrintLine("  node [shape=box, fontname=\"sans\"];");
    // Edges run from what is read to the formula that reads it.
    std::unordered_set<const CParam*> shown;
    auto node = [&](const CParam* param) {
        if (!shown.insert(param).second) return;
        std::string attributes = param->IsCalculated() ? "style=rounded" : "style=dashed";
        if (graph.inCycle.count(param)) attributes += ", color=red";
        PrintLine("  " + DotId(graph.Path(param)) + " [" + attributes + "];");
    };
    auto edges = [&](const CParam* formula) {
        node(formula);
        for (const CParam* p : graph.session.Precedents(formula)) {
            node(p);
            PrintLine("  " + DotId(graph.Path(p)) + " -> " + DotId(graph.Path(formula)) + ";");
        }
    };
    if (only) {
        edges(only);
        for (const CParam* reader : graph.session.Dependents(only)) {
            node(reader);
            PrintLine("  " + DotId(graph.Path(only)) + " -> " + DotId(graph.Path(reader)) + ";");
        }
    } else {
        for (const CParam* formula : graph.formulas) edges(formula);
    }
    PrintLine("}");
}

void PrintJson(const Graph& graph, const CParam* only) {
    std::string cycles = "[";
    bool first = true;
    for (const ParamList& cycle : graph.session.Cycles()) {
        if (only && std::find(cycle.begin(), cycle.end(), only) == cycle.end()) continue;
        cycles += (first ? "" : ", ") + JsonList(graph, cycle);
        first = false;
    }
    cycles += "]";
    auto entry = [&](const CParam* param) {
        return "{\"parameter\": " + JsonString(graph.Path(param)) +
               ", \"precedents\": " + JsonList(graph, graph.session.Precedents(param)) +
               ", \"dependents\": " + JsonList(graph, graph.session.Dependents(param)) + "}";
    };
    if (only) {
        PrintLine("{\"parameters\": [" + entry(only) + "], \"cycles\": " + cycles + "}");
        return;
    }
    PrintLine("{\"parameters\": [");
    for (size_t i = 0; i < graph.formulas.size(); ++i)
        PrintLine("  " + entry(graph.formulas[i]) + (i + 1 < graph.formulas.size() ? "," : ""));
    PrintLine("], \"cycles\": " + cycles + "}");
}

} // namespace

int RunDeps(int argc, char** argv) {
    Arguments args(argc, argv, {{"param", 'p', true}, {"format", 'f', true}});
    args.ExpectOperands(1, 1);
    const std::string format = args.Choice("format", {"text", "dot", "json"}, "text");
    CElement root;
    LoadDocument(args.Operands()[0], root);
    Graph graph(root);

    const CParam* only = nullptr;
    if (args.Has("param")) {
        only = FindParameter(root, args.Value("param")).param;
        if (!only)
            throw CliError{kExitTrouble, "no parameter '" + args.Value("param") + "' in '" +
                                             args.Operands()[0] + "'"};
    }
    if (format == "dot")
        PrintDot(graph, only);
    else if (format == "json")
        PrintJson(graph, only);
    else
        PrintText(graph, only);
    return kExitOk;
}

} // namespace tarvex::cli
