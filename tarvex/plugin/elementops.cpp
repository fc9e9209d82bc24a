#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarvex/plugin/elementops_internal.h"

namespace TarvexData::detail {

namespace {

// Copying from the tree being changed would read what the copy writes, so
// such a source is first taken out as a snapshot.
const CElement& StableSource(const CElement& target, const CElement& source,
                             std::optional<CElement>& snapshot) {
    if (source.GetRoot() != target.GetRoot()) return source;
    snapshot.emplace(source);
    return *snapshot;
}

void CopyTags(CElement& to, const CElement& from) {
    to.SetTagsCount(from.GetTagsCount());
    for (std::int32_t i = 0; i < from.GetTagsCount(); ++i) to.SetTag(i, from.GetTags()[i]);
}

// Appends copies of `sources` (in order) below `parent` in pre-order, so ids
// are issued as a recursive copy would issue them.
template <class Fill>
CElement* AppendCopies(CElement& parent, const std::vector<const CElement*>& sources, Fill fill) {
    struct Pending {
        const CElement* from;
        CElement* parent;
    };
    std::vector<Pending> stack;
    for (auto it = sources.rbegin(); it != sources.rend(); ++it) stack.push_back({*it, &parent});
    CElement* first = nullptr;
    while (!stack.empty()) {
        const Pending item = stack.back();
        stack.pop_back();
        CElement* copy = item.parent->AddChild(item.from->GetName());
        if (first == nullptr) first = copy;
        copy->SetModelUID(item.from->GetModelUID());
        fill(*copy, *item.from);
        for (std::int64_t i = item.from->GetChildCount() - 1; i >= 0; --i)
            stack.push_back({item.from->GetChild(i), copy});
    }
    return first;
}

std::vector<const CElement*> ChildrenOf(const CElement& element) {
    std::vector<const CElement*> children;
    children.reserve(static_cast<size_t>(element.GetChildCount()));
    for (std::int64_t i = 0; i < element.GetChildCount(); ++i)
        children.push_back(element.GetChild(i));
    return children;
}

std::u16string UpperKey(const char16_t* name) {
    CString upper(name);
    upper.MakeUpper();
    return std::u16string(upper.View());
}

} // namespace

CElement* AddChildCopy(CElement& parent, const CElement& source) {
    std::optional<CElement> snapshot;
    const CElement& from = StableSource(parent, source, snapshot);
    return AppendCopies(parent, {&from}, [](CElement& to, const CElement& original) {
        CopyTags(to, original);
        to.CopyParamsFrom(original);
    });
}

void CopyChildrenFrom(CElement& target, const CElement& source) {
    std::optional<CElement> snapshot;
    const CElement& from = StableSource(target, source, snapshot);
    target.DeleteAllChildren();
    AppendCopies(target, ChildrenOf(from),
                 [](CElement& to, const CElement& original) { to.CopyParamsFrom(original); });
}

void Merge(CElement& target, const CElement& source, bool copyEmpty, bool keepExisting,
           bool takeName) {
    if (&source == &target) return;
    std::optional<CElement> snapshot;
    const CElement& from = StableSource(target, source, snapshot);

    std::vector<std::pair<CElement*, const CElement*>> pending{{&target, &from}};
    while (!pending.empty()) {
        auto [into, other] = pending.back();
        pending.pop_back();
        if (takeName) into->SetName(other->GetName());
        into->MergeParamsFrom(*other, copyEmpty, keepExisting);

        // Children of one name pair off in order: first with first.
        std::unordered_map<std::u16string, std::deque<CElement*>> byName;
        for (std::int64_t i = 0; i < into->GetChildCount(); ++i) {
            CElement* child = into->GetChild(i);
            byName[UpperKey(child->GetName())].push_back(child);
        }
        for (std::int64_t i = 0; i < other->GetChildCount(); ++i) {
            const CElement* sourceChild = other->GetChild(i);
            auto found = byName.find(UpperKey(sourceChild->GetName()));
            if (found != byName.end() && !found->second.empty()) {
                pending.emplace_back(found->second.front(), sourceChild);
                found->second.pop_front();
            } else {
                AddChildCopy(*into, *sourceChild);
            }
        }
    }
}

} // namespace TarvexData::detail
