// Attributes of one tag: in order of arrival, and sorted by name for lookup.
//
// Both views hold the same objects; the arrival view owns them. A second
// AddAttr of a name replaces the value in place, so the attribute keeps its
// position in arrival order.
#pragma once
#include <cstdint>

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
    // Case-sensitive, by name.
    bool operator<(const CXMLAttr& other) const { return name.Compare(other.name) < 0; }

private:
    CString name;
    CString value;
};

class CXMLAttrs : public CTarvexObject {
public:
    CXMLAttrs() : attrs(1, 16, true, -8), sorted(1, 16, false, -8) {}
    CXMLAttrs(const CXMLAttrs&) = delete;
    CXMLAttrs& operator=(const CXMLAttrs&) = delete;
    ~CXMLAttrs() override = default;

    void AddAttr(const char16_t* name, const char16_t* value);
    void AddAttr(const CString& name, const CString& value);
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

    // By name (binary search of the sorted view), or null.
    CXMLAttr* GetAttr(const char16_t* name) const;
    // By arrival index, or null outside the range.
    CXMLAttr* GetAttr(std::int64_t index) const {
        return index >= 0 && index < attrs.GetLength() ? attrs[index] : nullptr;
    }
    std::int64_t GetCount() const { return attrs.GetLength(); }
    void Flush() {
        sorted.Clear();
        attrs.Flush();
    }

private:
    // Index in the sorted view of an equal name, or -1; `position` receives
    // where the name would go.
    std::int64_t Search(const char16_t* name, std::int64_t& position) const;

    CIndirectArray<CXMLAttr> attrs;
    CIndirectArray<CXMLAttr> sorted;
};
