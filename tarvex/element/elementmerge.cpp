// Copying, merging and comparing element trees. Every walk is a loop over
// an explicit stack and visits elements in the order a recursive walk would,
// so ids are issued and records written in that order.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tarvex/element/elementcompare.h"
#include "tarvex/element/elementwalk_internal.h"

namespace {

std::u16string_view NameOf(const CElement* element) {
    const char16_t* name = element->GetName();
    return name ? std::u16string_view(name) : std::u16string_view();
}

// The children of one merge target by upper-cased name, each name's
// children in child order; Take hands them out first to first.
class ChildrenByName {
public:
    explicit ChildrenByName(const CElement& parent) {
        const int64_t count = parent.GetChildCount();
        m_Entries.reserve(static_cast<size_t>(count));
        for (int64_t i = 0; i < count; ++i) {
            CElement* child = parent.GetChild(i);
            m_Entries.push_back({UpperKey(child), child});
        }
        std::stable_sort(m_Entries.begin(), m_Entries.end(),
                         [](const Entry& a, const Entry& b) { return a.key < b.key; });
    }

    CElement* Take(const CElement* source) {
        const std::u16string key = UpperKey(source);
        auto group =
            std::lower_bound(m_Entries.begin(), m_Entries.end(), key,
                             [](const Entry& e, const std::u16string& k) { return e.key < k; });
        if (group == m_Entries.end() || group->key != key) return nullptr;
        // The group's first entry remembers how far the group is used up.
        auto at = group + group->taken;
        if (at == m_Entries.end() || at->key != key) return nullptr;
        ++group->taken;
        return at->element;
    }

private:
    struct Entry {
        std::u16string key;
        CElement* element;
        int64_t taken = 0;
    };
    static std::u16string UpperKey(const CElement* element) {
        std::u16string key(NameOf(element));
        CParamsOwner::toupper(key);
        return key;
    }
    std::vector<Entry> m_Entries;
};

// Copies the tags of `from` onto `to`.
void CopyTags(CElement* to, const CElement* from) {
    to->SetTagsCount(from->GetTagsCount());
    for (int32_t i = 0; i < from->GetTagsCount(); ++i) to->SetTag(i, from->GetTags()[i]);
}

// The subtree of `source` in pre-order, each with the position of its
// parent in the list (-1 for the source). Taken before anything is made,
// so a copy placed inside the source is not copied again.
std::vector<std::pair<const CElement*, int64_t>> SubtreeOf(const CElement* source) {
    std::vector<std::pair<const CElement*, int64_t>> list{{source, -1}};
    std::vector<std::pair<int64_t, int64_t>> stack{{0, 0}}; // (position, next child)
    while (!stack.empty()) {
        auto& [position, next] = stack.back();
        const CElement* element = list[position].first;
        if (next >= element->GetChildCount()) {
            stack.pop_back();
            continue;
        }
        const int64_t parent = position;
        list.emplace_back(element->GetChild(next++), parent);
        stack.emplace_back(static_cast<int64_t>(list.size()) - 1, 0);
    }
    return list;
}

// Copies the subtree of `source` as a new last child of `target` (names,
// model uids, tags, and parameters by `copyParams`), recording each
// original and its copy in `map` if given. Returns the copy of `source`.
template <class CopyParams>
CElement* CopySubtreeUnder(CElement* target, const CElement* source, CElement::CopyMap* map,
                           CopyParams copyParams) {
    if (!source) return nullptr;
    const auto list = SubtreeOf(source);
    std::vector<CElement*> made(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        const CElement* from = list[i].first;
        CElement* copy = new CElement(from->GetName(), i ? made[list[i].second] : target);
        copy->SetModelUID(from->GetModelUID());
        CopyTags(copy, from);
        copyParams(copy, from);
        made[i] = copy;
        if (map) map->Add(CIndexRecord<const CElement*, CElement*>(from, copy));
    }
    return made.front();
}

} // namespace

void CElement::CopyFrom(const CElement* source, eNullParamsPolicy policy, bool dropValueComment) {
    if (!source || source == this || !source->m_pRoot) return;
    if (HasChild(source) || source->HasChild(this)) {
        const CElement copy(*source);
        CopyFrom(&copy, policy, dropValueComment);
        return;
    }
    m_pRoot = this;
    m_nMaxElementId = source->m_pRoot->m_nMaxElementId;
    DeleteAllChildren();
    DeleteAllParams();
    SetName(source->m_pszName);
    m_nId = source->m_nId;
    m_nModelUID = source->m_nModelUID;
    CopyTags(this, source);
    SetParameters(*source, policy, dropValueComment);
    ForEachPaired(
        *source,
        [&](CElement* parent, const CElement* from, int64_t) {
            CElement* child = new CElement(from->m_pszName, parent, from->m_nId, from->m_nModelUID);
            CopyTags(child, from);
            child->SetParameters(*from, policy, dropValueComment);
            return child;
        },
        [](CElement*, const CElement*) { return true; });
}

void CElement::CopyFrom(const CElement* source, const CParamsProtectionList& protectionList,
                        int action) {
    if (!source || source == this || !source->m_pRoot) return;
    // The structure, names, ids and tags come from the source; parameters
    // go through the protection list onto what this tree held, read from a
    // copy taken before the rebuild. An element of the new tree takes the
    // old element in its place: children matched by name without regard to
    // case, first to first, as Merge matches them; an element with no
    // match starts from no parameters.
    CElement old(*this);
    CopyFrom(source);
    struct Frame {
        CElement* mine;
        CElement* old; // null where the old tree had no match
        int64_t next;
        std::unique_ptr<ChildrenByName> index;
    };
    auto protect = [&](CElement* mine, const CElement* before) {
        CParamsOwner fromSource;
        fromSource.CopyParamsFrom(*mine);
        if (before)
            mine->CopyParamsFrom(*before);
        else
            mine->DeleteAllParams();
        mine->CopyParamsFrom(fromSource, protectionList, action);
    };
    protect(this, &old);
    std::vector<Frame> stack;
    stack.push_back({this, &old, 0, nullptr});
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next >= top.mine->GetChildCount()) {
            stack.pop_back();
            continue;
        }
        CElement* mine = top.mine->GetChild(top.next++);
        if (top.old && !top.index) top.index = std::make_unique<ChildrenByName>(*top.old);
        CElement* before = top.index ? top.index->Take(mine) : nullptr;
        protect(mine, before);
        stack.push_back({mine, before, 0, nullptr});
    }
}

void CElement::CopyChildrenFrom(const CElement* source) {
    if (!source || source == this || !source->m_pRoot) return;
    if (HasChild(source) || source->HasChild(this)) {
        const CElement copy(*source);
        CopyChildrenFrom(&copy);
        return;
    }
    DeleteAllChildren();
    ForEachPaired(
        *source,
        [](CElement* parent, const CElement* from, int64_t) {
            CElement* child = new CElement(from->m_pszName, parent);
            child->m_nModelUID = from->m_nModelUID;
            child->CopyParamsFrom(*from);
            return child;
        },
        [](CElement*, const CElement*) { return true; });
}

CElement* CElement::AddChildCopy(const CElement* source, CopyMap* map) {
    return CopySubtreeUnder(this, source, map, [](CElement* copy, const CElement* from) {
        copy->CopyParamsFrom(*from);
    });
}

CElement* CElement::AddChildCopy(const CElement* source, eNullParamsPolicy policy,
                                 bool dropValueComment, CopyMap* map) {
    return CopySubtreeUnder(this, source, map, [&](CElement* copy, const CElement* from) {
        copy->SetParameters(*from, policy, dropValueComment);
    });
}

CElement* CElement::AddChildCopy(const CElement* source,
                                 const CParamsProtectionList& protectionList, int action,
                                 CopyMap* map) {
    return CopySubtreeUnder(this, source, map, [&](CElement* copy, const CElement* from) {
        copy->CopyParamsFrom(*from, protectionList, action);
    });
}

void CElement::Merge(const CElement* source, bool copyEmpty, bool keepExisting, bool takeName) {
    if (!source || source == this) return;
    if (HasChild(source) || source->HasChild(this)) {
        const CElement copy(*source);
        Merge(&copy, copyEmpty, keepExisting, takeName);
        return;
    }
    struct Frame {
        CElement* mine;
        const CElement* theirs;
        int64_t next;
        std::unique_ptr<ChildrenByName> index; // made once a source child needs it
    };
    auto enter = [&](CElement* mine, const CElement* theirs) {
        if (takeName && NameOf(mine) != NameOf(theirs)) mine->SetName(theirs->m_pszName);
        mine->MergeParamsFrom(*theirs, copyEmpty, keepExisting);
    };
    enter(this, source);
    std::vector<Frame> stack;
    stack.push_back({this, source, 0, nullptr});
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next >= top.theirs->GetChildCount()) {
            stack.pop_back();
            continue;
        }
        // Children added below are copies and are never matched.
        if (!top.index) top.index = std::make_unique<ChildrenByName>(*top.mine);
        const CElement* theirs = top.theirs->GetChild(top.next++);
        CElement* mine = top.index->Take(theirs);
        if (!mine) {
            top.mine->AddChildCopy(theirs);
            continue;
        }
        enter(mine, theirs);
        stack.push_back({mine, theirs, 0, nullptr});
    }
}

// ---------------------------------------------------------------------------

bool CElement::Compare(CElement* other, StructDiffs& structDiffs, ParamCompareDiffs& paramDiffs,
                       const CParamsOwner* ignored) {
    if (!other) return true;
    const int64_t structBefore = structDiffs.GetLength();
    const int64_t paramBefore = paramDiffs.GetLength();
    DoCompare(other, paramDiffs, ignored);
    CompareStructure(other, structDiffs, paramDiffs, ignored);
    return structDiffs.GetLength() == structBefore && paramDiffs.GetLength() == paramBefore;
}

void CElement::DoCompare(CElement* other, ParamCompareDiffs& paramDiffs,
                         const CParamsOwner* ignored) {
    if (!other) return;
    CElementParamCompareRes* record = nullptr;
    if (NameOf(this) != NameOf(other)) {
        record = new CElementParamCompareRes(this, other);
        paramDiffs.Add(record);
    }
    ParamDiffs differences;
    if (CompareParameters(*other, differences, ignored)) return;
    if (!record) {
        record = new CElementParamCompareRes(this, nullptr);
        paramDiffs.Add(record);
    }
    for (const auto* difference : differences)
        record->AddParamDiff(difference->m_Key, difference->m_Value);
}

void CElement::CompareStructure(CElement* other, StructDiffs& structDiffs,
                                ParamCompareDiffs& paramDiffs, const CParamsOwner* ignored) {
    if (!other) return;
    struct Frame {
        CElement* mine;
        CElement* theirs;
        int64_t next;
    };
    tarvex::detail::WalkStack<Frame> stack;
    stack.Push({this, other, 0});
    while (!stack.Empty()) {
        Frame& top = stack.Top();
        const int64_t mineCount = top.mine->GetChildCount();
        const int64_t theirCount = top.theirs->GetChildCount();
        const int64_t paired = std::min(mineCount, theirCount);
        if (top.next < paired) {
            CElement* mine = top.mine->GetChild(top.next);
            CElement* theirs = top.theirs->GetChild(top.next);
            ++top.next;
            mine->DoCompare(theirs, paramDiffs, ignored);
            stack.Push({mine, theirs, 0});
            continue;
        }
        for (int64_t i = paired; i < mineCount; ++i)
            structDiffs.Add(new CElementStructCompareRes(top.mine->GetChild(i), nullptr));
        for (int64_t i = paired; i < theirCount; ++i)
            structDiffs.Add(new CElementStructCompareRes(nullptr, top.theirs->GetChild(i)));
        stack.Pop();
    }
}

void CElementParamCompareRes::ApplyChanges() {
    if (!m_pElement) return;
    if (m_pOther) m_pElement->SetName(m_pOther->GetName());
    const auto& params = m_pElement->GetParams();
    auto indexOf = [&](const CParam* param) -> int64_t {
        for (int64_t i = 0; i < params.GetLength(); ++i)
            if (params[i] == param) return i;
        return -1;
    };
    for (CElementParamDiff* diff : m_Diffs) {
        if (diff->m_pFirst && diff->m_pSecond) {
            if (indexOf(diff->m_pFirst) >= 0)
                diff->m_pFirst->AssignValueAndComment(*diff->m_pSecond);
        } else if (diff->m_pFirst) {
            const int64_t at = indexOf(diff->m_pFirst);
            if (at >= 0) m_pElement->RemoveParameter(at);
            diff->m_pFirst = nullptr; // it would dangle
        } else if (diff->m_pSecond) {
            if (!m_pElement->GetParameter(diff->m_pSecond->m_strName.GetString()))
                m_pElement->AddParamCopy(diff->m_pSecond, false);
        }
    }
}
