#include "tarvex/element/calc/elementcalcsession.h"

#include <algorithm>

#include "tarvex/element/calc/elementcalc_internal.h"
#include "tarvex/formula/compiledfunction.h"
#include "tarvex/formula/structquery.h"

struct CElementCalcSession::CNode {
    std::unique_ptr<CParamCalcContext> calc;
    CString text;                    // the formula as compiled
    std::vector<int32_t> precedents; // formula nodes read
    ParamList reads;                 // every parameter read, in tree order
    bool pure = true;
};

namespace {

// Whether a formula gives the same value from the same inputs whenever it
// is evaluated, reading nothing but its variables: no values read while
// compiling (aggregates, codes built up the tree, element contexts), no
// host or shared objects, no nested functions that might hide either.
bool IsPure(CParamCalcContext& calc) {
    if (calc.IsUsingCOMContext()) return false;
    const CFunction* function = calc.GetFunction().GetFunction();
    if (!function) return true;
    for (const CFunction::CToken* token = function->GetTokens().m_pFirst; token;
         token = token->m_pNext) {
        const auto tag = token->m_nTag;
        if (tag == CFunction::ttObject || tag == CFunction::ttApplication ||
            tag == CFunction::ttMethod || tag == CFunction::ttProperty ||
            tag == CFunction::ttHierarchy || tag == CFunction::ttCase ||
            (tag >= CFunction::ttObjConstructor1 && tag <= CFunction::ttObjConstructor3) ||
            tag == CFunction::ttNamedConstant || tag == CFunction::ttClpShortCode ||
            (tag >= CFunction::ttExists && tag <= CFunction::ttItem))
            return false;
    }
    return true;
}

} // namespace

CElementCalcSession::CElementCalcSession(CElement* element, CFunctionComContext* context)
    : m_pElement(element), m_pContext(context) {}

CElementCalcSession::~CElementCalcSession() = default;

void CElementCalcSession::Clear() {
    m_Nodes.clear();
    m_NodeOf.clear();
    m_Readers.clear();
    m_Rank.clear();
    m_Cycles.clear();
    m_Changed.clear();
    m_bBuilt = false;
    m_bUnresolvedReads = false;
}

bool CElementCalcSession::Calculate() {
    if (!m_pElement) return false;
    if (!IsIncremental()) {
        RunFull();
        return true;
    }
    // An edit that reaches a formula needing a full run turns this into one.
    RunIncremental();
    return m_Stats.lastWasFull;
}

void CElementCalcSession::NotifyParamChanged(const CParam* param) {
    if (!param) return;
    const auto node = m_NodeOf.find(param);
    // A formula whose text changed reads other things now.
    if (node != m_NodeOf.end() && m_Nodes[node->second]->text != param->m_strValueComment)
        m_bStructureChanged = true;
    // One nobody reads may be new and meet a read that found nothing.
    if (node == m_NodeOf.end() && !m_Readers.count(param) && m_bUnresolvedReads)
        m_bStructureChanged = true;
    m_Changed.push_back(param);
}

void CElementCalcSession::NotifyParamChanged(CElement* element, const char16_t* name) {
    const CParam* param = element ? element->GetParameter(name) : nullptr;
    if (param)
        NotifyParamChanged(param);
    else
        m_bStructureChanged = true;
}

void CElementCalcSession::NotifyStructureChanged() {
    m_bStructureChanged = true;
}

// The same steps as CElement::CalculateParameters, with every compiled
// formula kept for later runs.
void CElementCalcSession::RunFull() {
    Clear();
    m_bStructureChanged = false;
    m_Stats.lastWasFull = true;
    m_Stats.recalculated = 0;
    ++m_Stats.fullRuns;
    CFunctionComContext* context = m_pContext;
    if (context && !context->CanCalculate()) return;

    CElement::CalcList sorted(0, 16, false);
    std::vector<CElement*> pending{m_pElement->GetRoot()};
    // Pre-order, children pushed last to first so the first comes out first.
    while (!pending.empty()) {
        CElement* element = pending.back();
        pending.pop_back();
        for (int64_t i = 0; i < element->GetParamsCount(); ++i) {
            CParam* param = element->GetParameter(i);
            const char16_t* text = nullptr;
            if (!tarvex::elementcalc::FormulaOf(param, text)) continue;
            auto calc = std::make_unique<CParamCalcContext>(element, param);
            calc->Init(text);
            if (calc->IsUsingCOMContext() && !tarvex::elementcalc::AdmitsObjectUse(context, *calc))
                continue;
            auto node = std::make_unique<CNode>();
            node->text = param->m_strValueComment;
            node->pure = IsPure(*calc);
            if (calc->IsIndependent()) {
                calc->Calculate(context);
                m_Rank.push_back(static_cast<int32_t>(m_Nodes.size()));
            } else {
                sorted.Add(calc.get());
            }
            node->calc = std::move(calc);
            m_NodeOf.emplace(param, static_cast<int32_t>(m_Nodes.size()));
            m_Nodes.push_back(std::move(node));
        }
        for (int64_t i = element->GetChildCount() - 1; i >= 0; --i)
            pending.push_back(element->GetChild(i));
    }
    if (sorted.GetLength() > 1) CElement::TopologicalSort(sorted);
    for (CParamCalcContext* calc : sorted) {
        calc->Calculate(context);
        m_Rank.push_back(m_NodeOf[calc->GetParameter()]);
    }
    if (context) context->OnCalculationEnd();
    m_Stats.recalculated = static_cast<int64_t>(m_Nodes.size());
    m_Stats.formulas = static_cast<int64_t>(m_Nodes.size());

    // m_Rank holds nodes in the order they ran; turn it into each node's place.
    std::vector<int32_t> place(m_Nodes.size());
    for (size_t i = 0; i < m_Rank.size(); ++i) place[m_Rank[i]] = static_cast<int32_t>(i);
    m_Rank.swap(place);
    BuildGraph();
    m_bBuilt = true;
}

void CElementCalcSession::BuildGraph() {
    ChildIndexCache siblings;
    CString text;
    bool pure = true;
    for (size_t n = 0; n < m_Nodes.size(); ++n) {
        CNode& node = *m_Nodes[n];
        pure = pure && node.pure;
        CCompiledFunction::NameArray names;
        node.calc->GetFunction().GetRequiredParameters(names);
        CElement* element = node.calc->GetElement();
        for (const CString* name : names) {
            const CParam* param =
                (*name)[0] == u'@'
                    ? ResolveStructuralKey(element, name->GetString(), text, nullptr, &siblings)
                    : element->GetParameter(name->GetString());
            if (!param) {
                m_bUnresolvedReads = true;
                continue;
            }
            if (std::find(node.reads.begin(), node.reads.end(), param) != node.reads.end())
                continue;
            node.reads.push_back(param);
            m_Readers[param].push_back(static_cast<int32_t>(n));
            const auto hit = m_NodeOf.find(param);
            if (hit != m_NodeOf.end()) node.precedents.push_back(hit->second);
        }
    }

    // Strongly connected sets of formulas (Tarjan's method as a loop).
    const int32_t count = static_cast<int32_t>(m_Nodes.size());
    std::vector<int32_t> index(count, -1), low(count, 0);
    std::vector<char> onStack(count, 0);
    std::vector<int32_t> stack;
    struct Frame {
        int32_t node;
        size_t next;
    };
    std::vector<Frame> calls;
    int32_t counter = 0;
    for (int32_t start = 0; start < count; ++start) {
        if (index[start] >= 0) continue;
        calls.push_back({start, 0});
        index[start] = low[start] = counter++;
        stack.push_back(start);
        onStack[start] = 1;
        while (!calls.empty()) {
            Frame& frame = calls.back();
            const auto& next = m_Nodes[frame.node]->precedents;
            if (frame.next < next.size()) {
                const int32_t to = next[frame.next++];
                if (index[to] < 0) {
                    index[to] = low[to] = counter++;
                    stack.push_back(to);
                    onStack[to] = 1;
                    calls.push_back({to, 0});
                } else if (onStack[to]) {
                    low[frame.node] = std::min(low[frame.node], index[to]);
                }
                continue;
            }
            const int32_t v = frame.node;
            calls.pop_back();
            if (!calls.empty()) low[calls.back().node] = std::min(low[calls.back().node], low[v]);
            if (low[v] != index[v]) continue;
            std::vector<int32_t> members;
            int32_t w;
            do {
                w = stack.back();
                stack.pop_back();
                onStack[w] = 0;
                members.push_back(w);
            } while (w != v);
            const auto& self = m_Nodes[v]->precedents;
            if (members.size() > 1 || std::find(self.begin(), self.end(), v) != self.end()) {
                std::sort(members.begin(), members.end());
                m_Cycles.push_back(std::move(members));
            }
        }
    }
    std::sort(m_Cycles.begin(), m_Cycles.end());
    m_bIncremental = pure && m_Cycles.empty();
}

void CElementCalcSession::RunIncremental() {
    m_Stats.lastWasFull = false;
    m_Stats.recalculated = 0;
    if (m_pContext && !m_pContext->CanCalculate()) return;
    // Everything reachable from the edits through readers, each once.
    std::vector<char> affected(m_Nodes.size(), 0);
    std::vector<int32_t> queue;
    auto reach = [&](const CParam* param) {
        const auto self = m_NodeOf.find(param);
        if (self != m_NodeOf.end() && !affected[self->second]) {
            affected[self->second] = 1;
            queue.push_back(self->second);
        }
        const auto readers = m_Readers.find(param);
        if (readers == m_Readers.end()) return;
        for (int32_t reader : readers->second)
            if (!affected[reader]) {
                affected[reader] = 1;
                queue.push_back(reader);
            }
    };
    for (const CParam* param : m_Changed) reach(param);
    m_Changed.clear();
    for (size_t at = 0; at < queue.size(); ++at) reach(m_Nodes[queue[at]]->calc->GetParameter());
    std::sort(queue.begin(), queue.end(),
              [&](int32_t a, int32_t b) { return m_Rank[a] < m_Rank[b]; });
    for (int32_t n : queue) m_Nodes[n]->calc->Calculate(m_pContext);
    if (m_pContext) m_pContext->OnCalculationEnd();
    m_Stats.recalculated = static_cast<int64_t>(queue.size());
}

CElementCalcSession::ParamList CElementCalcSession::Precedents(const CParam* param) const {
    const auto hit = m_NodeOf.find(param);
    return hit == m_NodeOf.end() ? ParamList() : m_Nodes[hit->second]->reads;
}

CElementCalcSession::ParamList CElementCalcSession::Dependents(const CParam* param) const {
    ParamList out;
    const auto hit = m_Readers.find(param);
    if (hit == m_Readers.end()) return out;
    for (int32_t reader : hit->second) out.push_back(m_Nodes[reader]->calc->GetParameter());
    return out;
}

std::vector<CElementCalcSession::ParamList> CElementCalcSession::Cycles() const {
    std::vector<ParamList> out;
    out.reserve(m_Cycles.size());
    for (const auto& members : m_Cycles) {
        ParamList list;
        for (int32_t n : members) list.push_back(m_Nodes[n]->calc->GetParameter());
        out.push_back(std::move(list));
    }
    return out;
}

CElement* CElementCalcSession::OwnerOf(const CParam* param) const {
    const auto hit = m_NodeOf.find(param);
    return hit == m_NodeOf.end() ? nullptr : m_Nodes[hit->second]->calc->GetElement();
}
