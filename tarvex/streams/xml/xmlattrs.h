// Attributes of one tag: in order of arrival, and sorted by name for lookup.
//
// Both views hold the same objects; the arrival view owns them. A second
// AddAttr of a name replaces the value in place, so the attribute keeps its
// position in arrival order. Tags have a handful of attributes, which a scan
// of the arrival order finds sooner than a search: the sorted view is built
// only when a set grows past that.
#pragma once
#include <cstdint>
#include <cstring>
#include <string_view>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"

class CXMLAttr : public CTarvexObject {
public:
    CXMLAttr(const char16_t* name, const char16_t* value) : name(name), value(value) {}
    CXMLAttr(CString name, CString value) : name(std::move(name)), value(std::move(value)) {}
    ~CXMLAttr() override = default;

    const CString& GetName() const { return name; }
    const CString& GetValue() const { return value; }
    void SetValue(const char16_t* text) { value = text; }
    void SetValue(CString text) { value = std::move(text); }
    // Replace the text, reusing the buffer when it is not shared.
    void AssignName(std::u16string_view text) {
        if (name.View() != text) Assign(name, text);
    }
    void AssignValue(std::u16string_view text) { Assign(value, text); }
    // Case-sensitive, by name.
    bool operator<(const CXMLAttr& other) const { return name.Compare(other.name) < 0; }

private:
    // The reader fills names and values of reused attributes in place.
    friend class CXMLAttrs;
    friend class CXMLFileInStream;

    static void Assign(CString& target, std::u16string_view text) {
        const std::size_t n = text.size();
        // An empty text into an empty string: nothing to make.
        if (n == 0 && target.IsEmpty()) return;
        char16_t* to = target.GetBufferSetLength(static_cast<int>(n));
        const char16_t* from = text.data();
        // Attribute texts are short: fixed-size moves, the last one
        // overlapping, instead of a call.
        if (n >= 8) {
            for (std::size_t i = 0; i + 8 <= n; i += 8) std::memcpy(to + i, from + i, 16);
            std::memcpy(to + n - 8, from + n - 8, 16);
        } else if (n >= 4) {
            std::memcpy(to, from, 8);
            std::memcpy(to + n - 4, from + n - 4, 8);
        } else if (n >= 2) {
            std::memcpy(to, from, 4);
            std::memcpy(to + n - 2, from + n - 2, 4);
        } else if (n == 1) {
            to[0] = from[0];
        }
    }

    CString name;
    CString value;
};

class CXMLAttrs : public CTarvexObject {
public:
    CXMLAttrs() : attrs(0, 16, true, -8), sorted(0, 16, false, -8), spare(0, 16, true, -8) {}
    CXMLAttrs(const CXMLAttrs&) = delete;
    CXMLAttrs& operator=(const CXMLAttrs&) = delete;
    // Leaves a few of its attribute objects, with their buffers, to the next
    // set made on this thread: a writer that makes a set per document then
    // allocates nothing for attributes after the first one.
    ~CXMLAttrs() override;

    void AddAttr(const char16_t* name, const char16_t* value);
    void AddAttr(const CString& name, const CString& value);
    // The same, reusing the objects and buffers of flushed attributes: a
    // reader fills one set tag after tag without allocating.
    void AddAttr(std::u16string_view name, std::u16string_view value) {
        if (refills > 0) {
            CXMLAttr* attr = spare.Last();
            if (attr->name.View() == name) {
                --refills;
                CXMLAttr::Assign(attr->value, value);
                spare.TArrayTemplate<CXMLAttr*>::DeleteLast(); // the pointer moves to `attrs`
                Append(attr);
                return;
            }
            refills = 0;
        }
        AddNew(name, value);
    }
    void AddAttr(const char16_t* name, int value);
    void AddAttr(const char16_t* name, std::int64_t value);
    void AddAttr(const char16_t* name, bool value);
    // "%.15g".
    void AddAttr(const char16_t* name, double value);
    void AddAttr(const char16_t* name, const _GUID& value);

    // True when the attribute exists. Numbers read up to the first unusable
    // character (0 for none); a bool is "integer not 0", so "true" is false.
    bool GetAttr(const char16_t* name, CString& out) const;
    bool GetAttr(const char16_t* name, int& out) const;
    bool GetAttr(const char16_t* name, std::int64_t& out) const;
    bool GetAttr(const char16_t* name, bool& out) const;
    bool GetAttr(const char16_t* name, double& out) const;
    // Answers the parse of the text, which may fail.
    bool GetAttr(const char16_t* name, _GUID& out) const;

    // By name, case-sensitively, or null.
    CXMLAttr* GetAttr(const char16_t* name) const;
    // By arrival index, or null outside the range.
    CXMLAttr* GetAttr(std::int64_t index) const {
        return index >= 0 && index < attrs.GetLength() ? attrs[index] : nullptr;
    }
    std::int64_t GetCount() const { return attrs.GetLength(); }
    // Empties the set; the objects are kept for reuse, the first to arrive
    // on top, so a set refilled in the same order finds each name in place.
    void Flush() {
        if (!sorted.IsEmpty()) sorted.Clear();
        refills = attrs.GetLength();
        for (std::int64_t i = refills - 1; i >= 0; --i) spare.Add(attrs[i]);
        attrs.TArrayTemplate<CXMLAttr*>::Clear(); // the pointers moved to `spare`
    }

private:
    friend class CXMLFileInStream;

    // Up to this many attributes lookups scan the arrival order.
    static constexpr std::int64_t kScanned = 8;

    // The attribute of that name, or null.
    CXMLAttr* Find(std::u16string_view name) const;
    // Index in the sorted view of an equal name, or -1; `position` receives
    // where the name would go.
    std::int64_t Search(std::u16string_view name, std::int64_t& position) const;
    // A new name joins the arrival order (and the sorted view, once built).
    void Append(CXMLAttr* attr) {
        attrs.Add(attr);
        if (attrs.GetLength() > kScanned) Index(attr);
    }
    // Puts the newest attribute in the sorted view, building it at first.
    void Index(CXMLAttr* attr);
    // AddAttr of a name that is not the next refill.
    void AddNew(std::u16string_view name, std::u16string_view value);
    // The attribute the next add will reuse: the top of `spare`, which
    // keeps owning it until AddSpare.
    CXMLAttr* NextSpare() {
        if (spare.IsEmpty()) spare.Add(Retired());
        return spare.Last();
    }
    // An attribute object left by a set gone by, or a new one.
    static CXMLAttr* Retired();
    // Hands the objects of `list` to the next sets, or deletes them.
    static void Retire(CIndirectArray<CXMLAttr>& list);
    // Adds the attribute NextSpare gave, its name and value filled in. A
    // name already present takes the value and the spare stays spare.
    void AddSpare(CXMLAttr* attr);
    // Keeps the first `count` attributes; the rest become spares, the
    // earliest on top.
    void Truncate(std::int64_t count);

    CIndirectArray<CXMLAttr> attrs;
    CIndirectArray<CXMLAttr> sorted; // empty while a scan serves
    // While the set holds the flushed set's first attributes in their
    // order, the spares on top are the rest of it: this many. A name equal
    // to the top one's cannot be in the set yet, the flushed names being
    // all different, so it is added without a search.
    std::int64_t refills = 0;
    CIndirectArray<CXMLAttr> spare; // flushed, owned, waiting for reuse
};
