#include "tarvex/element/paramsowner.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>

#include "tarvex/core/guidhelper.h"
#include "tarvex/core/numbertext.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

// Growth of the parameter array: most owners hold a few dozen parameters,
// a few hold thousands.
constexpr int64_t kParamsPhysicalLength = 8;
constexpr int64_t kParamsDelta = 32;
constexpr int64_t kParamsMaximumDelta = 4096;

// The upper-cased form of a name being looked up. Lookup is the hottest path
// of the library, so an ordinary name is folded into a stack buffer instead
// of a temporary CParam with its five strings.
class CUpperKey {
public:
    explicit CUpperKey(const char16_t* name)
        : m_nLength(name ? static_cast<int>(wcslen(name)) : 0), m_pText(m_aInline) {
        if (m_nLength > kInline) {
            m_pHeap.reset(new char16_t[static_cast<size_t>(m_nLength)]);
            m_pText = m_pHeap.get();
        }
        if (m_nLength == 0) return;
        std::memcpy(m_pText, name, static_cast<size_t>(m_nLength) * sizeof(char16_t));
        TxUpperInPlace(m_pText, static_cast<size_t>(m_nLength));
    }
    CUpperKey(const CUpperKey&) = delete;
    CUpperKey& operator=(const CUpperKey&) = delete;

    const char16_t* Text() const { return m_pText; }
    int Length() const { return m_nLength; }

private:
    static constexpr int kInline = 64;

    int m_nLength;
    char16_t* m_pText;
    std::unique_ptr<char16_t[]> m_pHeap;
    char16_t m_aInline[kInline];
};

// The order of CParam, with the key given as its upper-cased text and the
// length of the name it came from: 0 when the names are equal (same length,
// same upper name), otherwise the ordinal order of the upper names. Simple
// case mapping keeps lengths, so the upper name's length is the name's.
inline int CompareKey(const char16_t* upper, int length, int nameLength, const CParam& param) {
    const CString& other =
        param.m_strUpperName.IsEmpty() ? param.UpperName() : param.m_strUpperName;
    const int otherLength = other.GetLength();
    const char16_t* text = other.GetString();
    const int common = std::min(length, otherLength);
    for (int i = 0; i < common; ++i)
        if (upper[i] != text[i]) return upper[i] < text[i] ? -1 : 1;
    if (length != otherLength) return length < otherLength ? -1 : 1;
    // Equal upper names; CParam's equality also wants equal name lengths,
    // and when that fails the key does not sort before the parameter.
    return param.m_strName.GetLength() == nameLength ? 0 : 1;
}

int64_t SearchArray(const CParamsOwner::ParamArray& params, const char16_t* upper, int length,
                    int nameLength, int64_t& position) {
    return TarvexDetail::SortedSearch(
        params.GetData(), params.GetLength(), position,
        [=](const CParam* param) { return CompareKey(upper, length, nameLength, *param); });
}

int64_t SearchByParam(const CParamsOwner::ParamArray& params, const CParam& key,
                      int64_t& position) {
    const CString& upper = key.UpperName();
    return SearchArray(params, upper.GetString(), upper.GetLength(), key.m_strName.GetLength(),
                       position);
}

int64_t FindByParam(const CParamsOwner::ParamArray& params, const CParam& key) {
    int64_t position;
    return SearchByParam(params, key, position);
}

CString IntText(int64_t value) {
    char16_t buffer[24];
    char16_t* end = buffer + 24;
    char16_t* p = end;
    uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : uint64_t(value);
    do {
        *--p = static_cast<char16_t>(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) *--p = u'-';
    return CString(p, static_cast<int>(end - p));
}

// An optional minus, then at least one character, all digits but for at
// most one separator, '.' or ','.
bool IsNumberText(const char16_t* text) {
    if (*text == u'-') ++text;
    if (*text == 0) return false;
    bool separator = false;
    for (; *text; ++text) {
        if (*text >= u'0' && *text <= u'9') continue;
        if ((*text == u'.' || *text == u',') && !separator) {
            separator = true;
            continue;
        }
        return false;
    }
    return true;
}

// _wtof with a comma read as the point.
double NumberValue(const char16_t* text) {
    const size_t length = wcslen(text);
    char16_t small[64];
    std::unique_ptr<char16_t[]> large;
    char16_t* copy = small;
    if (length >= std::size(small)) {
        large.reset(new char16_t[length + 1]);
        copy = large.get();
    }
    for (size_t i = 0; i < length; ++i) copy[i] = text[i] == u',' ? u'.' : text[i];
    copy[length] = 0;
    return _wtof(copy);
}

bool IsYesWord(const char16_t* text) {
    return _wcsicmp(text, u"Да") == 0 || _wcsicmp(text, u"Yes") == 0 ||
           _wcsicmp(text, u"true") == 0;
}

void WriteHex(char16_t*& out, uint32_t value, int digits) {
    static const char16_t kDigits[] = u"0123456789ABCDEF";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        *out++ = kDigits[(value >> shift) & 0xF];
}

} // namespace

// ---------------------------------------------------------------------------
// Construction

CParamsOwner::CParamsOwner()
    : m_Params(kParamsPhysicalLength, kParamsDelta, true, kParamsMaximumDelta) {}

CParamsOwner::CParamsOwner(const CParamsOwner& source)
    : CTarvexObject(source),
      m_Params(source.GetParamsCount() > 0 ? source.GetParamsCount() : kParamsPhysicalLength,
               kParamsDelta, true, kParamsMaximumDelta) {
    CopyAllFrom(source);
}

CParamsOwner& CParamsOwner::operator=(const CParamsOwner& source) {
    CopyParamsFrom(source);
    return *this;
}

CParamsOwner::~CParamsOwner() = default;

// ---------------------------------------------------------------------------
// Lookup

int64_t CParamsOwner::SearchName(const char16_t* name, int64_t& position) const {
    const CUpperKey key(name);
    return SearchArray(m_Params, key.Text(), key.Length(), key.Length(), position);
}

int64_t CParamsOwner::FindParameter(const char16_t* name) const {
    int64_t position;
    return SearchName(name, position);
}

CParam* CParamsOwner::GetParameter(const char16_t* name) {
    const int64_t index = FindParameter(name);
    return index >= 0 ? m_Params[index] : nullptr;
}

const CParam* CParamsOwner::GetParameter(const char16_t* name) const {
    const int64_t index = FindParameter(name);
    return index >= 0 ? m_Params[index] : nullptr;
}

// ---------------------------------------------------------------------------
// Getters

const char16_t* CParamsOwner::GetParameterValue(const char16_t* name, const char16_t* def) const {
    const CParam* param = GetParameter(name);
    return param ? param->m_strValue.GetString() : def;
}

CString CParamsOwner::GetParameterValue(const char16_t* name, const CString& def,
                                        bool emptyIsMissing) const {
    const CParam* param = GetParameter(name);
    if (!param || (emptyIsMissing && param->m_strValue.IsEmpty())) return def;
    return param->m_strValue;
}

double CParamsOwner::GetParameterValue(const char16_t* name, double def,
                                       bool emptyIsMissing) const {
    const CParam* param = GetParameter(name);
    if (!param || (emptyIsMissing && param->m_strValue.IsEmpty())) return def;
    return _wtof(param->m_strValue);
}

int CParamsOwner::GetParameterValue(const char16_t* name, int def) const {
    const CParam* param = GetParameter(name);
    return param ? _wtoi(param->m_strValue) : def;
}

int CParamsOwner::GetParameterValue(const char16_t* name, int def, bool emptyIsMissing) const {
    const CParam* param = GetParameter(name);
    if (!param || (emptyIsMissing && param->m_strValue.IsEmpty())) return def;
    return _wtoi(param->m_strValue);
}

bool CParamsOwner::GetParameterValue(const char16_t* name, bool def) const {
    const CParam* param = GetParameter(name);
    if (!param) return def;
    return IsYesWord(param->m_strValue) || _wtoi(param->m_strValue) != 0;
}

CTXVector3d CParamsOwner::GetParameterValue(const char16_t* name, const CTXVector3d& def) const {
    CTXVector3d result = def;
    if (const CParam* param = GetParameter(name)) CTXVector3d::TryParse(param->m_strValue, result);
    return result;
}

const char16_t* CParamsOwner::GetParameterValueComment(const char16_t* name,
                                                       const char16_t* def) const {
    const CParam* param = GetParameter(name);
    return param ? param->m_strValueComment.GetString() : def;
}

const char16_t* CParamsOwner::GetParameterComment(const char16_t* name, const char16_t* def) const {
    const CParam* param = GetParameter(name);
    return param ? param->m_strComment.GetString() : def;
}

bool CParamsOwner::GetValue(const char16_t* name, CString& value) const {
    const CParam* param = GetParameter(name);
    if (!param) return false;
    value = param->m_strValue;
    return true;
}

bool CParamsOwner::GetValue(const char16_t* name, int& value) const {
    const CParam* param = GetParameter(name);
    if (!param) return false;
    value = _wtoi(param->m_strValue);
    return true;
}

bool CParamsOwner::GetValue(const char16_t* name, bool& value) const {
    const CParam* param = GetParameter(name);
    if (!param) return false;
    value = _wtoi(param->m_strValue) != 0;
    return true;
}

bool CParamsOwner::GetValue(const char16_t* name, double& value) const {
    const CParam* param = GetParameter(name);
    if (!param) return false;
    value = _wtof(param->m_strValue);
    return true;
}

bool CParamsOwner::GetValue(const char16_t* name, CTXPoint3d& value) const {
    const CParam* param = GetParameter(name);
    return param && CTXPoint3d::TryParse(param->m_strValue, value);
}

bool CParamsOwner::GetValue(const char16_t* name, CTXVector3d& value) const {
    const CParam* param = GetParameter(name);
    return param && CTXVector3d::TryParse(param->m_strValue, value);
}

bool CParamsOwner::GetValue(const char16_t* name, _GUID& value) const {
    const CParam* param = GetParameter(name);
    return param && CGUIDHelper::TryStringToGuid(param->m_strValue, value);
}

// ---------------------------------------------------------------------------
// Setters

CParam* CParamsOwner::InsertAt(int64_t position, CParam* param) {
    m_Params.InsertAt(position, param);
    return param;
}

CParam* CParamsOwner::SetParameter(const char16_t* name, const char16_t* value,
                                   const char16_t* comment, const char16_t* valueComment) {
    int64_t position;
    const int64_t index = SearchName(name, position);
    if (index < 0) return InsertAt(position, new CParam(name, value, comment, valueComment));
    // Assignment reuses each string's buffer when it is private and big enough.
    CParam* param = m_Params[index];
    param->m_strValue = value;
    param->m_strComment = comment;
    param->m_strValueComment = valueComment;
    return param;
}

CParam* CParamsOwner::SetParameterText(const char16_t* name, CString&& value,
                                       const char16_t* comment, const char16_t* valueComment) {
    int64_t position;
    const int64_t index = SearchName(name, position);
    CParam* param;
    if (index >= 0) {
        param = m_Params[index];
        param->m_strComment = comment;
        param->m_strValueComment = valueComment;
    } else {
        param = InsertAt(position, new CParam(name, nullptr, comment, valueComment));
    }
    param->m_strValue = std::move(value);
    return param;
}

CParam* CParamsOwner::SetParameter(const char16_t* name, int value, const char16_t* comment,
                                   const char16_t* valueComment) {
    return SetParameterText(name, IntText(value), comment, valueComment);
}

CParam* CParamsOwner::SetParameter(const char16_t* name, double value, const char16_t* comment,
                                   const char16_t* valueComment) {
    return SetParameterText(name, tarvex::DblToString(value, 12), comment, valueComment);
}

CParam* CParamsOwner::SetParameter(const char16_t* name, double value, int digits,
                                   const char16_t* comment, const char16_t* valueComment) {
    return SetParameterText(name, tarvex::DblToString(value, digits), comment, valueComment);
}

CParam* CParamsOwner::SetParameter(const char16_t* name, const CTXVector3d& value,
                                   const char16_t* comment, const char16_t* valueComment) {
    return SetParameterText(name, value.ToString(), comment, valueComment);
}

CParam* CParamsOwner::SetParameter(const char16_t* name, const CTXPoint3d& value,
                                   const char16_t* comment, const char16_t* valueComment) {
    return SetParameterText(name, value.ToString(), comment, valueComment);
}

CParam* CParamsOwner::SetParameter(const char16_t* name, const _GUID& value,
                                   const char16_t* comment, const char16_t* valueComment) {
    char16_t buffer[39];
    FormatUID(value, buffer, 39);
    return SetParameterText(name, CString(buffer, 38), comment, valueComment);
}

bool CParamsOwner::FormatUID(const _GUID& guid, char16_t* buffer, int size) {
    if (!buffer || size < 39) return false;
    char16_t* out = buffer;
    *out++ = u'{';
    WriteHex(out, guid.Data1, 8);
    *out++ = u'-';
    WriteHex(out, guid.Data2, 4);
    *out++ = u'-';
    WriteHex(out, guid.Data3, 4);
    *out++ = u'-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) *out++ = u'-';
        WriteHex(out, guid.Data4[i], 2);
    }
    *out++ = u'}';
    *out = 0;
    return true;
}

// ---------------------------------------------------------------------------
// Additions and removals

CParam* CParamsOwner::AddParameter(const char16_t* name, const char16_t* value,
                                   const char16_t* comment, const char16_t* valueComment) {
    int64_t position;
    const int64_t index = SearchName(name, position);
    if (index >= 0) return m_Params[index];
    return InsertAt(position, new CParam(name, value, comment, valueComment));
}

CParam* CParamsOwner::AddParameter(CParam* param) {
    m_Params.Add(param);
    return param;
}

CParam* CParamsOwner::AddNewParameter(CParam* param) {
    int64_t position;
    const int64_t index = SearchByParam(m_Params, *param, position);
    if (index < 0) return InsertAt(position, param);
    delete param;
    return m_Params[index];
}

CParam* CParamsOwner::AddParamCopy(const CParam* param, bool checkExisting) {
    if (checkExisting) {
        int64_t position;
        const int64_t index = SearchByParam(m_Params, *param, position);
        if (index >= 0) return m_Params[index];
        return InsertAt(position, new CParam(*param));
    }
    CParam* copy = new CParam(*param);
    m_Params.Add(copy);
    return copy;
}

bool CParamsOwner::RemoveParameter(const char16_t* name) {
    const int64_t index = FindParameter(name);
    if (index < 0) return false;
    m_Params.Delete(index);
    return true;
}

// ---------------------------------------------------------------------------
// Synchronize

void CParamsOwner::Synchronize(const char16_t* name, char16_t*& variable, const char16_t* comment,
                               bool toVariable) {
    const CParam* param = toVariable ? GetParameter(name) : nullptr;
    if (!param) {
        SetParameter(name, variable, comment, nullptr);
        return;
    }
    const int length = param->m_strValue.GetLength();
    char16_t* copy = new char16_t[static_cast<size_t>(length) + 1];
    std::memcpy(copy, param->m_strValue.GetString(),
                (static_cast<size_t>(length) + 1) * sizeof(char16_t));
    delete[] variable;
    variable = copy;
}

void CParamsOwner::Synchronize(const char16_t* name, int32_t& variable, const char16_t* comment,
                               bool toVariable) {
    const CParam* param = toVariable ? GetParameter(name) : nullptr;
    if (param)
        variable = _wtol(param->m_strValue);
    else
        SetParameterText(name, IntText(variable), comment, nullptr);
}

void CParamsOwner::Synchronize(const char16_t* name, double& variable, const char16_t* comment,
                               bool toVariable) {
    const CParam* param = toVariable ? GetParameter(name) : nullptr;
    if (param)
        variable = _wtof(param->m_strValue);
    else
        SetParameterText(name, tarvex::DblToString(variable, 12), comment, nullptr);
}

// ---------------------------------------------------------------------------
// Whole-set operations. Sources are walked by index with the count read at
// each step, so an owner given itself as the source stays within bounds.
// Fields travel as CString copies, which share their buffers.

void CParamsOwner::CopyAllFrom(const CParamsOwner& source) {
    m_Params.Clear();
    const int64_t count = source.GetParamsCount();
    m_Params.Resize(count);
    // The source is in order already: append without searching.
    TArrayTemplate<CParam*>& slots = m_Params;
    for (int64_t i = 0; i < count; ++i) slots.Add(new CParam(*source.m_Params[i]));
}

void CParamsOwner::CopyParamsFrom(const CParamsOwner& source) {
    if (&source == this) return;
    CopyAllFrom(source);
}

void CParamsOwner::MergeParamsFrom(const CParamsOwner& source, bool copyEmpty, bool keepExisting) {
    for (int64_t i = 0; i < source.GetParamsCount(); ++i) {
        const CParam* from = source.m_Params[i];
        if (!copyEmpty && from->m_strValue.IsEmpty()) continue;
        int64_t position;
        const int64_t index = SearchByParam(m_Params, *from, position);
        if (index < 0) {
            InsertAt(position, new CParam(*from));
            continue;
        }
        CParam* param = m_Params[index];
        if (keepExisting && !param->m_strValue.IsEmpty()) continue;
        if (from->m_strValue.IsEmpty()) continue; // a merge never blanks a value
        param->m_strValue = from->m_strValue;
        param->m_strComment = from->m_strComment;
        param->m_strValueComment = from->m_strValueComment;
    }
}

void CParamsOwner::SetParameters(const CParamsOwner& source, eNullParamsPolicy policy,
                                 bool dropValueComment) {
    SetParameters(source, false, policy, dropValueComment);
}

void CParamsOwner::SetParameters(const CParamsOwner& source, bool existingOnly,
                                 eNullParamsPolicy policy, bool dropValueComment) {
    for (int64_t i = 0; i < source.GetParamsCount(); ++i) {
        const CParam* from = source.m_Params[i];
        int64_t position;
        const int64_t index = SearchByParam(m_Params, *from, position);
        if (existingOnly) {
            if (index < 0) continue;
            if (policy == NullParamsSkip && from->m_strValue.IsEmpty()) continue;
        } else if (policy == NullParamsFillEmpty) {
            if (index >= 0 && !m_Params[index]->m_strValue.IsEmpty()) continue;
        } else if (from->m_strValue.IsEmpty()) {
            if (policy == NullParamsSkip) continue;
            if (policy == NullParamsCopyIfPresent && index < 0) continue;
        }
        CParam* param;
        if (index >= 0) {
            param = m_Params[index];
            param->m_strValue = from->m_strValue;
            param->m_strComment = from->m_strComment;
            param->m_strValueComment = from->m_strValueComment;
        } else {
            param = InsertAt(position, new CParam(*from));
        }
        if (dropValueComment) param->m_strValueComment.Empty();
    }
}

void CParamsOwner::ApplyParameter(const CParam* param) {
    if (!param) return;
    int64_t position;
    const int64_t index = SearchByParam(m_Params, *param, position);
    if (param->IsErased()) {
        if (index >= 0) m_Params.Delete(index);
        return;
    }
    const bool valueOnly = param->m_strComment == kParamMarkerValueSet;
    const bool valueCommentOnly = !valueOnly && param->m_strComment == kParamMarkerCommentSet;
    if (index < 0) {
        CParam* added = InsertAt(position, new CParam(*param));
        // A partial change to a missing parameter creates it without the
        // marker: value and value comment, no comment.
        if (valueOnly || valueCommentOnly) added->m_strComment.Empty();
        return;
    }
    CParam* target = m_Params[index];
    if (valueOnly) {
        target->m_strValue = param->m_strValue;
    } else if (valueCommentOnly) {
        target->m_strValueComment = param->m_strValueComment;
    } else {
        target->m_strValue = param->m_strValue;
        target->m_strComment = param->m_strComment;
        target->m_strValueComment = param->m_strValueComment;
    }
}

void CParamsOwner::ApplyParameters(const CParamsOwner& source) {
    for (int64_t i = 0; i < source.GetParamsCount(); ++i) ApplyParameter(source.m_Params[i]);
}

// ---------------------------------------------------------------------------
// Comparison

int CParamsOwner::CompareValues(const char16_t* a, const char16_t* b) {
    if (!a) a = u"";
    if (!b) b = u"";
    if (*a == 0 && *b == 0) return 0;
    if (IsNumberText(a) && IsNumberText(b)) {
        const double x = NumberValue(a);
        const double y = NumberValue(b);
        if (std::fabs(x - y) < 1e-5) return 0;
        return x < y ? -1 : 1;
    }
    return wcscmp(a, b);
}

bool CParamsOwner::IsEqualParameters(const CParamsOwner& other) const {
    const int64_t count = GetParamsCount();
    if (count != other.GetParamsCount()) return false;
    for (int64_t i = 0; i < count; ++i) {
        const CParam* a = m_Params[i];
        const CParam* b = other.m_Params[i];
        if (_wcsicmp(a->m_strName, b->m_strName) != 0) return false;
        if (CompareValues(a->m_strValue, b->m_strValue) != 0) return false;
    }
    return true;
}

bool CParamsOwner::IsEqualParameters(const CParamsOwner& other, const NameList* ignored) const {
    if (!ignored) return IsEqualParameters(other);
    int64_t i = GetNextActiveParamId(ignored, -1);
    int64_t j = other.GetNextActiveParamId(ignored, -1);
    for (; i >= 0 && j >= 0;
         i = GetNextActiveParamId(ignored, i), j = other.GetNextActiveParamId(ignored, j)) {
        const CParam* a = m_Params[i];
        const CParam* b = other.m_Params[j];
        if (_wcsicmp(a->m_strName, b->m_strName) != 0) return false;
        if (CompareValues(a->m_strValue, b->m_strValue) != 0) return false;
    }
    return i < 0 && j < 0;
}

bool CParamsOwner::CompareParameters(const CParamsOwner& other) const {
    const int64_t count = GetParamsCount();
    if (count != other.GetParamsCount()) return false;
    for (int64_t i = 0; i < count; ++i) {
        const CParam* a = m_Params[i];
        const CParam* b = other.m_Params[i];
        if (a->m_strName != b->m_strName) return false;
        if (CompareValues(a->m_strValue, b->m_strValue) != 0) return false;
    }
    return true;
}

bool CParamsOwner::CompareParameters(const CParamsOwner& other, ParamDiffs& differences,
                                     const CParamsOwner* ignored) const {
    using Record = CIndexRecord<CParam*, CParam*>;
    const int64_t before = differences.GetLength();
    auto isIgnored = [ignored](const CParam& param) {
        return ignored && FindByParam(ignored->m_Params, param) >= 0;
    };
    // The records hand out the parameters for the caller to act on, so they
    // carry mutable pointers whatever the constness of this comparison.
    for (int64_t i = 0; i < GetParamsCount(); ++i) {
        CParam* mine = m_Params[i];
        if (isIgnored(*mine)) continue;
        const int64_t index = FindByParam(other.m_Params, *mine);
        CParam* theirs = index >= 0 ? other.m_Params[index] : nullptr;
        if (theirs && mine->m_strValueComment == theirs->m_strValueComment) {
            int position;
            // The same formula is equal whatever it last computed.
            if (IsCalcComment(mine->m_strValueComment, position)) continue;
            if (CompareValues(mine->m_strValue, theirs->m_strValue) == 0) continue;
        }
        differences.Add(new Record(mine, theirs));
    }
    for (int64_t j = 0; j < other.GetParamsCount(); ++j) {
        CParam* theirs = other.m_Params[j];
        if (isIgnored(*theirs)) continue;
        if (FindByParam(m_Params, *theirs) < 0) differences.Add(new Record(nullptr, theirs));
    }
    return differences.GetLength() == before;
}

int64_t CParamsOwner::GetNextActiveParamId(const NameList* ignored, int64_t id) const {
    for (int64_t i = id < -1 ? 0 : id + 1; i < GetParamsCount(); ++i)
        if (!ignored || ignored->Find(m_Params[i]->UpperName()) < 0) return i;
    return -1;
}

void CParamsOwner::toupper(std::u16string& text) {
    TxUpperInPlace(text.data(), text.size());
}
