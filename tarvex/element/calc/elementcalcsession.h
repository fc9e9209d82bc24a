// CElementCalcSession: keeps a tree's formulas compiled between runs, with
// the graph of what each reads, so that after an edit only the formulas
// depending on it are calculated again.
//
//   CElementCalcSession session(root);
//   session.Calculate();                       // a full run
//   root->GetChild(0)->SetParameter(u"L", u"12");
//   session.NotifyParamChanged(root->GetChild(0), u"L");
//   session.Calculate();                       // only what reads L
//
// Parameters have no change signal, so the caller reports every edit. The
// values after Calculate are always those of a full CalculateParameters:
// wherever an incremental run could differ (a cycle, a formula that reads
// values while compiling, as aggregates do, or that uses a host object),
// Calculate runs the whole tree instead.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tarvex/element/element.h"

class CElementCalcSession : public CTarvexObject {
public:
    using ParamList = std::vector<const CParam*>;

    struct CStats {
        int64_t formulas = 0;     // formulas held, as of the last full run
        int64_t fullRuns = 0;     // full runs so far
        int64_t recalculated = 0; // formulas calculated by the last Calculate
        bool lastWasFull = false;
    };

    // Works on the whole tree of `element`. The context, which may be null,
    // serves formulas that use `object`, as in CalculateParameters. Nothing
    // is calculated before the first Calculate.
    explicit CElementCalcSession(CElement* element, CFunctionComContext* context = nullptr);
    CElementCalcSession(const CElementCalcSession&) = delete;
    CElementCalcSession& operator=(const CElementCalcSession&) = delete;
    ~CElementCalcSession() override;

    // Brings every value up to date: a full run the first time, after a
    // structure notice, or where an incremental run could differ; otherwise
    // the changed formulas and those that depend on them, in order. True if
    // it was a full run.
    bool Calculate();

    // The value or the value comment of `param` was edited. A parameter
    // the session does not know counts as a structure change when some
    // formula reads a name that was missing.
    void NotifyParamChanged(const CParam* param);
    // The same by element and name; an unknown name is a structure change.
    void NotifyParamChanged(CElement* element, const char16_t* name);
    // Elements or parameters were added, removed, renamed or moved, or a
    // parameter is about to be deleted: the next Calculate runs in full.
    void NotifyStructureChanged();

    // As of the last full run. What formula `param` reads (formulas and
    // plain parameters) in the order it names them; empty for a plain one.
    ParamList Precedents(const CParam* param) const;
    // The formulas that read `param` directly, in tree order.
    ParamList Dependents(const CParam* param) const;
    // Each set of formulas that read one another in a circle (a formula
    // reading itself included), members in tree order, sets by their first.
    std::vector<ParamList> Cycles() const;
    // The element holding a formula of the session, or null.
    CElement* OwnerOf(const CParam* param) const;
    // Whether an edit can be followed without a full run.
    bool IsIncremental() const { return m_bBuilt && !m_bStructureChanged && m_bIncremental; }
    const CStats& GetStats() const { return m_Stats; }

private:
    struct CNode;

    void RunFull();
    void RunIncremental();
    void Clear();
    void BuildGraph();

    CElement* m_pElement;
    CFunctionComContext* m_pContext;
    std::vector<std::unique_ptr<CNode>> m_Nodes; // in tree order
    std::unordered_map<const CParam*, int32_t> m_NodeOf;
    std::unordered_map<const CParam*, std::vector<int32_t>> m_Readers;
    std::vector<int32_t> m_Rank; // place of each node in a dependency order
    std::vector<std::vector<int32_t>> m_Cycles;
    std::vector<const CParam*> m_Changed;
    bool m_bBuilt = false;
    bool m_bStructureChanged = false;
    bool m_bIncremental = false;
    bool m_bUnresolvedReads = false; // some formula reads a name that is not there
    CStats m_Stats;
};
