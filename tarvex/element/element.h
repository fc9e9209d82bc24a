// CElement: a named tree node that is also a parameter owner.
//
// Children keep the order in which they were added; it matters to documents,
// comparisons and formulas, so they are sorted only on request. Each element
// caches its root, which makes issuing an id and GetRoot constant-time; the
// price is a walk of the subtree whenever an element moves. Ids are unique in
// a tree by construction only: SetId and friends can break that, and
// ValidateElementIds repairs it.
#pragma once

#include <cstdint>
#include <set>
#include <unordered_map>

#include "tarvex/core/containers.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/platform/cstring.h"

class CElementParamCompareRes;
class CElementStreamProxy;
class CElementStructCompareRes;
class CFunctionComContext;
class CParamCalcContext;
class CXMLAttrs;
class CXMLSchemaInStream;
struct tagVARIANT;

class CElement : public CParamsOwner {
public:
    using ChildArray = CIndirectArray<CElement>;
    // A callback over elements; returning false stops Iterate, and selects
    // (or rejects) an element in the filters.
    using ElementCallback = bool (*)(CElement* element, void* data);
    using ElementList = TArrayTemplate<CElement*>;
    using IdMap = CSortedArray<CIndexRecord<int64_t, int64_t>>;
    using IdsMap = std::unordered_map<int64_t, const CElement*>;

    // What cbFilterElementByParameter looks for: an element having the
    // parameter and, unless `value` is null, with that value.
    struct CParamFilter {
        const char16_t* name;
        const char16_t* value;
        bool noCase;
    };

    // A root (null parent) gets id 0, model UID -1 and an id counter of 0. A
    // child is appended to its parent and gets the next id of the tree.
    explicit CElement(const char16_t* name = nullptr, CElement* parent = nullptr);
    // A free-standing root holding an exact copy of `source`: name, id, model
    // UID, tags, parameters and children with their ids.
    CElement(const CElement& source);
    // The child is not detached: destroy children through Delete, DeleteChild
    // or the parent, never directly.
    ~CElement() override;

    // "@NAME" (in any case) renames the element; anything else is the
    // owner's change protocol.
    void ApplyParameter(const CParam* param) override;
    // The owner's substitution here and in every descendant.
    void ReplaceParameters(const CParamsDefault& defaults) override;
    // As CopyFrom.
    virtual CElement& operator=(const CElement& source);

    // Makes this element a root of its own (the parent field is left alone)
    // holding an exact copy of `source`, which may even lie below this
    // element. The id counter is the source root's. Nothing happens for a
    // null source, this element itself, or a source without a root.
    void CopyFrom(const CElement* source);

    // --- Ids.
    // The id and model UID are taken as given; the tree's counter is raised
    // to the id if it is lower.
    CElement* AddChild(const char16_t* name);
    CElement* AddChild(const char16_t* name, int64_t id, int32_t modelUID);
    // At `index` when that is a valid child index, otherwise at the end.
    CElement* InsertChild(int64_t index, const char16_t* name);
    int64_t GetNextElementId();
    // The tree's counter and the id, cut to 32 bits.
    int32_t GetMaxElementIdVal() const { return static_cast<int32_t>(m_pRoot->m_nMaxElementId); }
    int32_t GetId() const { return static_cast<int32_t>(m_nId); }
    int64_t GetFullId() const { return m_nId; }
    // Neither setter touches the tree's counter.
    void SetId(int64_t id) { m_nId = id; }
    void ChangeElementId(int32_t id) { m_nId = id; }
    int32_t GetModelUID() const { return m_nModelUID; }
    void SetModelUID(int32_t value) { m_nModelUID = value; }
    // Pre-order: this element takes `next`, its descendants the ids after.
    void SetNewElementIds(int64_t& next);
    // Pre-order: an id found among the keys of `map` becomes the value.
    void ReplaceElementIds(const IdMap& map);
    // Gives a fresh id to every element whose id was met before in a
    // pre-order walk from here. True if there was no collision.
    bool ValidateElementIds();
    // Pre-order; a later element of the same id overwrites an earlier one.
    void GetIdsMap(IdsMap& map) const;

    // --- Structure.
    CElement* GetParent() const { return m_pParent; }
    CElement* GetRoot() const { return m_pRoot; }
    const char16_t* GetName() const { return m_pszName; }
    void SetName(const char16_t* name);
    // The number of ancestors: 0 at a root.
    int GetLevel() const;
    int64_t GetChildCount() const { return m_arrChildren.GetLength(); }

    // Destroys this element through its parent; a root does nothing.
    void Delete();
    // The first child of exactly that name. False if there is none.
    bool DeleteChild(const char16_t* name);
    bool DeleteChild(CElement* child);
    void DeleteAllChildren() { m_arrChildren.Flush(); }
    // Hands the children to the parent (appended, in order) and destroys
    // this element. No effect at a root.
    void DeleteFromHierarchy();
    // Moves this element under `newParent`, at the front or the end. Both
    // must be in the same tree, else CKVException; a move into the element's
    // own subtree is the caller's to prevent.
    void ChangeParent(CElement* newParent, bool first);
    // Move this element to the front or the end among its siblings.
    void SetFirstChild();
    void SetLastChild();
    // Swaps two children by position. False if either is null or no child.
    bool SwapPtr(CElement* a, CElement* b);
    // Anywhere below, this element excluded.
    bool HasChild(const CElement* element) const;
    // Among direct children, or -1.
    int64_t GetChildIndex(const CElement* element) const;
    // By name, case-sensitive code-unit order. Equal names may change order.
    void SortChildren();
    // -1, 0 or 1 by the names' code units.
    static int cbCompareByName(const CElement* a, const CElement* b);

    // --- Lookups. Linear; the first match in the stated order wins. Names
    // match exactly unless the function says otherwise. Like the parent and
    // root readers, they are const but hand out mutable elements: constness
    // covers an element's own fields, not its relatives.
    // Null out of range.
    CElement* GetChild(int64_t index) const;
    CElement* GetChild(int index) const { return GetChild(static_cast<int64_t>(index)); }
    CElement* GetChild(const char16_t* name) const;
    CElement* GetChildByName(const char16_t* name) const { return GetChild(name); }
    // From `start`; a hit stores its position in `index`.
    CElement* GetChild(const char16_t* name, int64_t start, int64_t& index) const;
    // Without regard to case.
    CElement* GetChildNoCase(const char16_t* name) const;
    // Direct children first, then each child in order does the same.
    CElement* QueryChild(const char16_t* name) const;
    // Without regard to case; this element first, then pre-order.
    CElement* GetElementByName(const char16_t* name) const;
    CElement* GetChildById(int64_t id) const;
    CElement* GetChildByModelId(int32_t modelUID) const;
    // Pre-order below this element.
    CElement* GetChildByIdRecursive(int64_t id) const;
    CElement* GetChildByModelIdRecursive(int32_t modelUID) const;
    // Pre-order from this element itself.
    CElement* GetElementById(int64_t id) const;
    CElement* GetChildFirst() const { return GetChildCount() ? m_arrChildren[0] : nullptr; }
    CElement* GetChildLast() const { return GetChildCount() ? m_arrChildren.Last() : nullptr; }

    // --- Walks, all pre-order from this element.
    // Stops at the first false; false if stopped.
    bool Iterate(ElementCallback fn, void* data);
    CElement* FindElementByFilter(ElementCallback fn, void* data);
    // Appends every match to `out`, looking below matches too.
    void FindElementsByFilter(ElementCallback fn, ElementList& out, void* data);
    // Elements having the parameter with the value, by ordinal comparison or,
    // with `noCase`, without regard to case.
    CElement* FindElementByParameterValue(const char16_t* name, const char16_t* value, bool noCase);
    const CElement* FindElementByParameterValueC(const char16_t* name, const char16_t* value,
                                                 bool noCase) const;
    void FindElementsByParameterValue(const char16_t* name, const char16_t* value, bool noCase,
                                      ElementList& out);
    void FindElementsByParameterName(const char16_t* name, ElementList& out);
    // `data` is a CParamFilter.
    static bool cbFilterElementByParameter(CElement* element, void* data);

    // --- Tags. Their meaning belongs to callers.
    // 0 without tags or out of range.
    int32_t GetTag(int64_t index) const;
    // A negative index is ignored; the array grows to hold the index.
    void SetTag(int64_t index, int32_t value);
    // Exactly `count` tags, keeping those that fit; 0 frees the array. New
    // slots are 0.
    void SetTagsCount(int32_t count);
    // Only ever grows.
    void GrowTags(int32_t count);
    int32_t GetTagsCount() const { return m_nTagsCount; }
    const int32_t* GetTags() const { return m_pTags; }

    // --- Parameters along the tree.
    // Applies `source`'s parameters here, then recurses into each source
    // child's first counterpart of exactly that name; unmatched children
    // are ignored.
    void ApplyParametersRecursive(const CElement& source);
    // Copies in every parameter missing here from `source` and then from its
    // ancestors, so the nearest definition wins. Null is ignored.
    void InheritParametersFrom(const CElement* source);
    // A plain name is looked up here; `owner` becomes this element and
    // `errorText` is emptied. A name beginning with '@' is a structural query.
    CParam* QueryParameter(const char16_t* name, CString& errorText, CElement*& owner);
    // A plain name is looked up here and then in each ancestor; with
    // `skipEmpty`, a parameter whose value is blank does not count.
    CParam* QueryParameterInherited(const char16_t* name, CString& errorText, bool skipEmpty);
    // The element a structural path leads to from here.
    CElement* StructQueryChild(const char16_t* path);
    // Parses one step of a path at `position`, advancing it: an optional
    // quoted name, then an optional "(digits)" index. False for a missing
    // closing quote or anything but digits before ')'.
    static bool GetStructFilter(const char16_t* text, int& position, CString& name, int& index);

    // --- Two trees (elementmerge.cpp). All are loops, so trees of any depth
    // are fine, and a source related to this element is read from a copy
    // wherever it would change under the walk.
    using CopyMap = TArrayTemplate<CIndexRecord<const CElement*, CElement*>>;
    using StructDiffs = CIndirectArray<CElementStructCompareRes>;
    using ParamCompareDiffs = CIndirectArray<CElementParamCompareRes>;

    // As CopyFrom, with SetParameters(source, policy, dropValueComment) in
    // place of the exact copy of parameters, here and in each child.
    void CopyFrom(const CElement* source, eNullParamsPolicy policy, bool dropValueComment);
    // As CopyFrom, with each element's parameters taken by
    // CopyParamsFrom(source, protectionList, action) onto what the element in
    // its place held before, so this tree's protected parameters survive.
    // Elements are placed by name without regard to case, first to first.
    void CopyFrom(const CElement* source, const CParamsProtectionList& protectionList, int action);
    // Replaces the children by copies of `source`'s: new ids from this
    // tree, names, model UIDs and parameters; no tags.
    void CopyChildrenFrom(const CElement* source);
    // Appends a copy of `source` as a new child: new ids from this tree;
    // names, model UIDs, tags and parameters from the source. `map`, if
    // given, gets (source element, copy) for each element copied, the
    // copy's root included. Returns the new child, or null for no source.
    CElement* AddChildCopy(const CElement* source, CopyMap* map = nullptr);
    CElement* AddChildCopy(const CElement* source, eNullParamsPolicy policy, bool dropValueComment,
                           CopyMap* map = nullptr);
    // The parameters of each copy by CopyParamsFrom(source, protectionList,
    // action) onto an empty set.
    CElement* AddChildCopy(const CElement* source, const CParamsProtectionList& protectionList,
                           int action, CopyMap* map = nullptr);
    // Brings `source` in: its name if `takeName`, its parameters by
    // MergeParamsFrom, and each of its children merged into the first
    // unmatched child of the same name without regard to case, or added as
    // a copy with new ids when there is none.
    void Merge(const CElement* source, bool copyEmpty, bool keepExisting, bool takeName);
    // Compares this tree with `other`, children by position. True if
    // neither list gained a record. Names in `ignored` are skipped.
    bool Compare(CElement* other, StructDiffs& structDiffs, ParamCompareDiffs& paramDiffs,
                 const CParamsOwner* ignored = nullptr);
    // This pair alone: a name record when the names differ exactly, then
    // the parameter differences into that record (or a new one).
    void DoCompare(CElement* other, ParamCompareDiffs& paramDiffs,
                   const CParamsOwner* ignored = nullptr);
    // The children pair by pair up to the shorter count, each pair
    // compared and descended into, then the surplus of either side.
    void CompareStructure(CElement* other, StructDiffs& structDiffs, ParamCompareDiffs& paramDiffs,
                          const CParamsOwner* ignored = nullptr);

    // --- Calculation (defined with the formula language, element/calc).
    // Formulas are value comments starting with '='; the value caches the
    // result, or the error text of a failed formula. The context, which may
    // be null, serves formulas that use `object`.
    using CalcList = CIndirectArray<CParamCalcContext>;
    using ParamSet = std::set<const CParam*>;
    using NameArray = CIndirectArray<CString>;

    // False when `param` holds no formula (`isFormula` stays true). Otherwise
    // true, with the result in `value` and `isFormula` true, or the error
    // text in `value` and `isFormula` false.
    bool CalculateParameterValue(const CParam* param, CString& value, bool& isFormula,
                                 CFunctionComContext* context = nullptr);
    // Stores what CalculateParameterValue gives, error texts included. True
    // unless the formula failed.
    bool CalculateParameter(CParam* param, CFunctionComContext* context = nullptr);
    // A calculated copy of `param` for the caller to own.
    CParam* CalculateParameterCopy(const CParam* param, CFunctionComContext* context = nullptr);
    // The parameter's value, a formula's result when `calculate` is set (a
    // failed formula gives its error text and true). False if missing.
    bool GetParameterValueEx(const char16_t* name, CString& value, bool calculate,
                             CFunctionComContext* context = nullptr);
    // The same with a default for a missing parameter or a failed formula.
    CString GetParameterValueEx(const char16_t* name, const char16_t* def, bool calculate,
                                CFunctionComContext* context = nullptr);
    int GetParameterValueEx(const char16_t* name, int def, bool calculate,
                            CFunctionComContext* context = nullptr);
    double GetParameterValueEx(const char16_t* name, double def, bool calculate,
                               CFunctionComContext* context = nullptr);

    // Calculates every formula of the whole tree, from the root: formulas
    // that read no other formula at once during the walk, the rest in
    // dependency order, each exactly once; cycles are broken silently.
    void CalculateParameters(CFunctionComContext* context = nullptr);
    // Pre-order from this element, parameters in sorted order: prepares each
    // formula and hands it to InsertCalcContext.
    void PrepareToCalculate(CalcList& list, CFunctionComContext* context = nullptr);
    void CollectCalcParameter(CParam* param, CalcList& list,
                              CFunctionComContext* context = nullptr);
    // Takes ownership of `calc`: drops a formula using `object` that the
    // context does not admit, calculates an independent one at once, and
    // appends a dependent one to `list`.
    void InsertCalcContext(CalcList& list, CParamCalcContext* calc,
                           CFunctionComContext* context = nullptr);
    // Orders `list` so that each formula follows the formulas it reads. The
    // order of `list` on entry is the key, so a list built by a tree walk
    // sorts the same way on every run. A cycle is broken at the member that
    // the fewest remaining formulas read (the first in key order of equals).
    static void TopologicalSort(CalcList& list);

    // From last to first: a plain name found here leaves `names` (deleted
    // if owned), a structural one stays; either way a parameter holding a
    // formula enters `found`.
    void CollectCalculatedParameters(NameArray& names, ParamSet& found);
    // Fills `result` with what a consumer needs from this element: all
    // parameters (calculated if asked) for null `names`; otherwise the named
    // ones, each found name leaving `names`, so what stays is missing.
    virtual void GetParamsRequired(CParamsOwner& result, NameArray* names, bool calculate,
                                   CFunctionComContext* context = nullptr);
    // The path text by which a formula on `from` reaches this element, and
    // `paramName` on it when that is not empty; `shortForm` gives the
    // structural query notation.
    void GetIndirectParamQuery(const CElement* from, const char16_t* paramName, CString& out,
                               bool byName, bool shortForm) const;

    // Same name exactly, same child count, IsEqualParameters, then the
    // children pairwise.
    bool IsEqualTo(const CElement& other, const NameList* ignored = nullptr) const;

    // --- XML documents (defined in the streams layer; link tarvex_streams).
    // Each answers whether it worked and reports nothing in words. A read
    // first empties this element; on a failure what was read so far stays.
    // The root of a file may be an open or an empty tag; that of a text
    // must be open, and a text under 10 characters is refused unparsed.
    bool ReadFromFile(const char16_t* path);
    bool ReadFromXML(const CString& text);
    // Text (a path or a document) or an interface pointer.
    bool ReadFromSource(tagVARIANT source);
    // UTF-16, declaration included.
    bool WriteToXML(CString& text) const;
    // UTF-8, atomically: a failed save leaves the old file as it was.
    bool WriteToFile(const char16_t* path) const;

protected:
    // Reads the element whose opening tag the stream has just delivered.
    bool ReadFromStream(CXMLSchemaInStream& stream, CXMLAttrs& attrs);
    // With a parent the element is appended to it.
    CElement(const char16_t* name, CElement* parent, int64_t id, int32_t modelUID);

    // The largest of `floor` and the ids of this subtree.
    int64_t GetMaxElementId(int64_t floor) const;
    // Sets the root down the subtree, raising the root's counter to every id
    // met.
    void SetRoot(CElement* root);
    // And the root with it: the parent's, or this element for none.
    void SetParent(CElement* parent);
    void AddChild(CElement* element);
    void AddChildFirst(CElement* element);
    // Destroys the child if the array owns it.
    void RemoveChild(CElement* element);
    // Appends exact copies of `source`'s children, ids included.
    void ExactCopyChildrenFrom(const CElement& source);

private:
    friend class CElementStreamProxy;

    // Loops over an explicit stack (elementwalk_internal.h), never recursion:
    // pre-order over this subtree, and this subtree paired with another.
    template <class Visit>
    bool ForEachPreOrder(Visit&& visit) const;
    template <class Match, class Enter>
    bool ForEachPaired(const CElement& other, Match&& match, Enter&& enter);

    static char16_t* CopyName(const char16_t* name);
    // The child array with ownership off for the duration of `body`.
    template <class Body>
    void WithoutOwnership(Body body) {
        m_arrChildren.SetOwnership(false);
        body();
        m_arrChildren.SetOwnership(true);
    }

    CElement* m_pParent;
    // A new[] copy owned by the element; null only while a reader fills it.
    char16_t* m_pszName;
    int64_t m_nId;
    int32_t m_nModelUID;
    // new[] array of m_nTagsCount tags, or null.
    int32_t* m_pTags;
    int32_t m_nTagsCount;
    ChildArray m_arrChildren;
    // The top of the tree; a root points to itself.
    CElement* m_pRoot;
    // Meaningful on a root only: the last id issued.
    int64_t m_nMaxElementId;
};
