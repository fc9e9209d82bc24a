// CParam: the atom of the element model, a record of five texts.
//
// Every value is text; typed reading happens in the owner's getters. The
// upper-cased name is the key for order and equality, so two parameters whose
// names differ only in case are the same parameter.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

// Comments with a meaning to CParamsOwner::ApplyParameter: a change sent from
// one owner to another rather than a full value.
inline constexpr const char16_t* kParamMarkerErased = u"*ERASED*";
inline constexpr const char16_t* kParamMarkerValueSet = u"*VALUE_SET*";
inline constexpr const char16_t* kParamMarkerCommentSet = u"*COMMENT_SET*";

class CParam : public CTarvexObject {
public:
    CParam() = default;
    // Note the argument order differs from the field order.
    CParam(const char16_t* name, const char16_t* value, const char16_t* comment,
           const char16_t* valueComment);
    CParam(const CParam&) = default;
    CParam& operator=(const CParam&) = default;
    ~CParam() override = default;

    void setName(const char16_t* name);
    const CString& getName() const { return m_strName; }
    const CString& UpperName() const;
    const CString& getUpperName() const { return UpperName(); }
    const CString& getstrValue() const { return m_strValue; }
    const CString& getComment() const { return m_strComment; }
    const CString& getValueComment() const { return m_strValueComment; }
    // The comment when there is one, otherwise the name.
    const CString& getParamDesc() const {
        return m_strComment.IsEmpty() ? m_strName : m_strComment;
    }

    bool IsErased() const;
    bool IsCalculated() const;

    void AssignValue(const CParam& other) { m_strValue = other.m_strValue; }
    void AssignValueComment(const CParam& other) { m_strValueComment = other.m_strValueComment; }
    // Value and value comment; the comment stays as it is.
    void AssignValueAndComment(const CParam& other) {
        m_strValue = other.m_strValue;
        m_strValueComment = other.m_strValueComment;
    }

    // Equality asks for equal lengths first, so most mismatches cost no case
    // folding; order compares the upper names by code unit.
    bool operator==(const CParam& other) const {
        return m_strName.GetLength() == other.m_strName.GetLength() &&
               UpperName() == other.UpperName();
    }
    bool operator!=(const CParam& other) const { return !(*this == other); }
    bool operator<(const CParam& other) const { return UpperName() < other.UpperName(); }
    bool operator<=(const CParam& other) const { return UpperName() <= other.UpperName(); }
    bool operator>(const CParam& other) const { return UpperName() > other.UpperName(); }
    bool operator>=(const CParam& other) const { return UpperName() >= other.UpperName(); }

    // Whether `text`, after leading characters 1 to 32, starts with '='.
    // `position` gets the index after the sign, or the count skipped.
    static bool IsFormulaText(const char16_t* text, int& position);

    CString m_strName;
    // Filled on demand: empty while the name is not means "not yet computed".
    mutable CString m_strUpperName;
    CString m_strComment;
    CString m_strValueComment;
    CString m_strValue;
};

// A parameter as a plain record for crossing an interface: no virtual table,
// no root class, no upper name.
class CParamUnmanaged {
public:
    CParamUnmanaged() = default;
    CParamUnmanaged(const char16_t* name, const char16_t* value, const char16_t* comment,
                    const char16_t* valueComment);
    CParamUnmanaged(const CParamUnmanaged&) = default;
    CParamUnmanaged& operator=(const CParamUnmanaged&) = default;
    // Moving copies: the source is left as it was, so a caller that hands a
    // record across the interface keeps its own.
    CParamUnmanaged(CParamUnmanaged&& other) noexcept : CParamUnmanaged(other) {}
    CParamUnmanaged& operator=(CParamUnmanaged&& other) noexcept { return *this = other; }

    CString m_strName;
    CString m_strValue;
    CString m_strValueComment;
    CString m_strComment;
};
