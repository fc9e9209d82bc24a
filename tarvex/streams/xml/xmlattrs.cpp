#include "tarvex/streams/xml/xmlattrs.h"

#include <algorithm>

#include "tarvex/core/guidhelper.h"
#include "tarvex/platform/wide.h"
#include "tarvex/streams/decimaltext_internal.h"

namespace {

// Attribute objects of sets gone by on this thread. Only small ones are
// kept, so the cache holds a few kilobytes at most. Plain data, so that a
// set destroyed late in the thread's exit (a static one) still finds it,
// closed, and deletes its objects itself.
struct CRetiredAttrs {
    static constexpr int kKept = 16;
    static constexpr int kLargestText = 64;

    CXMLAttr* items[kKept];
    int count;
    bool closed;
};

thread_local CRetiredAttrs t_retired{};

// Deletes what the cache holds when the thread ends, and closes it.
struct CRetiredAttrsDrain {
    bool armed = false;
    ~CRetiredAttrsDrain() {
        t_retired.closed = true;
        while (t_retired.count > 0) delete t_retired.items[--t_retired.count];
    }
};

thread_local CRetiredAttrsDrain t_retiredDrain;

bool KeepRetired(CXMLAttr* attr) {
    CRetiredAttrs& retired = t_retired;
    if (retired.closed || retired.count == CRetiredAttrs::kKept ||
        attr->GetName().GetAllocLength() > CRetiredAttrs::kLargestText ||
        attr->GetValue().GetAllocLength() > CRetiredAttrs::kLargestText)
        return false;
    if (retired.count == 0) t_retiredDrain.armed = true; // registers the drain
    retired.items[retired.count++] = attr;
    return true;
}

} // namespace

CXMLAttrs::~CXMLAttrs() {
    sorted.Clear();
    Retire(spare);
    Retire(attrs);
}

CXMLAttr* CXMLAttrs::Retired() {
    CRetiredAttrs& retired = t_retired;
    if (retired.count > 0) return retired.items[--retired.count];
    return new CXMLAttr(CString(), CString());
}

void CXMLAttrs::Retire(CIndirectArray<CXMLAttr>& list) {
    // The first to arrive is taken first by the next set.
    for (std::int64_t i = list.GetLength() - 1; i >= 0; --i) {
        if (!KeepRetired(list[i])) delete list[i];
    }
    list.TArrayTemplate<CXMLAttr*>::Clear(); // the objects are kept or gone
}

std::int64_t CXMLAttrs::Search(std::u16string_view name, std::int64_t& position) const {
    std::int64_t low = 0;
    std::int64_t high = sorted.GetLength() - 1;
    while (low <= high) {
        std::int64_t middle = (low + high) / 2;
        int order = name.compare(sorted[middle]->GetName().View());
        if (order == 0) return position = middle;
        if (order < 0)
            high = middle - 1;
        else
            low = middle + 1;
    }
    position = low;
    return -1;
}

CXMLAttr* CXMLAttrs::Find(std::u16string_view name) const {
    const std::int64_t count = attrs.GetLength();
    if (count <= kScanned) {
        for (std::int64_t i = 0; i < count; ++i) {
            if (attrs[i]->name.View() == name) return attrs[i];
        }
        return nullptr;
    }
    std::int64_t position;
    const std::int64_t found = Search(name, position);
    return found >= 0 ? sorted[found] : nullptr;
}

void CXMLAttrs::Index(CXMLAttr* attr) {
    const std::int64_t count = attrs.GetLength();
    if (count == kScanned + 1) {
        // The set outgrows the scan: sorted once, kept sorted from here on.
        for (std::int64_t i = 0; i < count; ++i) sorted.Add(attrs[i]);
        std::sort(sorted.GetData(), sorted.GetData() + count,
                  [](const CXMLAttr* a, const CXMLAttr* b) { return *a < *b; });
        return;
    }
    std::int64_t position;
    Search(attr->name.View(), position);
    sorted.InsertAt(position, attr);
}

void CXMLAttrs::AddSpare(CXMLAttr* attr) {
    refills = 0;
    if (CXMLAttr* existing = Find(attr->name.View())) {
        std::swap(existing->value, attr->value);
        return;
    }
    spare.TArrayTemplate<CXMLAttr*>::DeleteLast(); // the pointer moves to `attrs`
    Append(attr);
}

void CXMLAttrs::Truncate(std::int64_t count) {
    refills = 0;
    for (std::int64_t i = attrs.GetLength() - 1; i >= count; --i) spare.Add(attrs[i]);
    attrs.TArrayTemplate<CXMLAttr*>::Grow(count); // shorter: the pointers moved to `spare`
    if (sorted.IsEmpty()) return;
    sorted.Clear();
    if (count > kScanned) {
        for (std::int64_t i = 0; i < count; ++i) sorted.Add(attrs[i]);
        std::sort(sorted.GetData(), sorted.GetData() + count,
                  [](const CXMLAttr* a, const CXMLAttr* b) { return *a < *b; });
    }
}

void CXMLAttrs::AddAttr(const CString& name, const CString& value) {
    refills = 0;
    // A writer that refills one set names its attributes with the same
    // shared strings every time: the same buffer is the same name.
    for (std::int64_t i = 0, n = attrs.GetLength() < 8 ? attrs.GetLength() : 8; i < n; ++i) {
        if (attrs[i]->GetName().GetString() == name.GetString()) {
            attrs[i]->SetValue(value);
            return;
        }
    }
    if (CXMLAttr* existing = Find(name.View())) {
        existing->SetValue(value);
        return;
    }
    Append(new CXMLAttr(name, value));
}

void CXMLAttrs::AddNew(std::u16string_view name, std::u16string_view value) {
    refills = 0;
    if (CXMLAttr* existing = Find(name)) {
        CXMLAttr::Assign(existing->value, value);
        return;
    }
    CXMLAttr* attr = NextSpare();
    attr->AssignName(name);
    CXMLAttr::Assign(attr->value, value);
    spare.TArrayTemplate<CXMLAttr*>::DeleteLast(); // the pointer moves to `attrs`
    Append(attr);
}

using tarvex::decimaltext::Decimal;

namespace {

std::u16string_view Name(const char16_t* name) {
    return name != nullptr ? std::u16string_view(name) : std::u16string_view();
}

} // namespace

void CXMLAttrs::AddAttr(const char16_t* name, const char16_t* value) {
    AddAttr(Name(name), Name(value));
}

// Numbers go through the text form that reuses flushed attributes: a
// writer's set refilled tag after tag makes no strings for them.
void CXMLAttrs::AddAttr(const char16_t* name, int value) {
    char16_t digits[24];
    AddAttr(Name(name), Decimal(value, digits));
}

void CXMLAttrs::AddAttr(const char16_t* name, std::int64_t value) {
    char16_t digits[24];
    AddAttr(Name(name), Decimal(value, digits));
}

void CXMLAttrs::AddAttr(const char16_t* name, bool value) {
    AddAttr(Name(name), std::u16string_view(value ? u"1" : u"0", 1));
}

void CXMLAttrs::AddAttr(const char16_t* name, double value) {
    CString text;
    text.Format(u"%.15g", value);
    AddAttr(CString(name), text);
}

void CXMLAttrs::AddAttr(const char16_t* name, const _GUID& value) {
    AddAttr(CString(name), CGUIDHelper::GuidToString(value));
}

CXMLAttr* CXMLAttrs::GetAttr(const char16_t* name) const {
    return name != nullptr ? Find(std::u16string_view(name)) : nullptr;
}

bool CXMLAttrs::GetAttr(const char16_t* name, CString& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    out = attr->GetValue();
    return true;
}

bool CXMLAttrs::GetAttr(const char16_t* name, int& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    out = _wtoi(attr->GetValue());
    return true;
}

bool CXMLAttrs::GetAttr(const char16_t* name, std::int64_t& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    out = _wtoi64(attr->GetValue());
    return true;
}

bool CXMLAttrs::GetAttr(const char16_t* name, bool& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    out = _wtoi(attr->GetValue()) != 0;
    return true;
}

bool CXMLAttrs::GetAttr(const char16_t* name, double& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    out = _wtof(attr->GetValue());
    return true;
}

bool CXMLAttrs::GetAttr(const char16_t* name, _GUID& out) const {
    const CXMLAttr* attr = GetAttr(name);
    if (attr == nullptr) return false;
    return CGUIDHelper::TryStringToGuid(attr->GetValue(), out);
}
