#include "tarvex/platform/cstring.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

struct EmptyBuffer {
    CString::Data data;
    char16_t terminator[2];
};

constinit EmptyBuffer g_empty{{-1, 0, 0}, {0, 0}};

CString::Data* EmptyData() noexcept {
    return &g_empty.data;
}

bool IsSpace(char16_t ch) noexcept {
    return ch == u' ' || (ch >= 9 && ch <= 13);
}

bool InSet(const char16_t* set, char16_t ch) noexcept {
    for (; *set; ++set)
        if (*set == ch) return true;
    return false;
}

int Length(const char16_t* text) noexcept {
    return text ? static_cast<int>(wcslen(text)) : 0;
}

} // namespace

// ---------------------------------------------------------------------------
// Buffer management

CString::Data* CString::Allocate(int capacity) {
    if (capacity <= 0) return EmptyData();
    void* block = std::malloc(sizeof(Data) + (size_t(capacity) + 1) * sizeof(char16_t));
    if (!block) throw std::bad_alloc();
    Data* data = new (block) Data{{1}, 0, capacity};
    data->Chars()[0] = 0;
    return data;
}

void CString::Release(Data* data) noexcept {
    const int refs = data->refs.load(std::memory_order_acquire);
    if (refs < 0) return;
    // The only holder needs no locked decrement: no other thread can reach
    // the buffer to take a reference, and the acquire load has seen the
    // releases of any holders before.
    if (refs == 1 || data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        data->~Data();
        std::free(data);
    }
}

void CString::SetLength(int length) noexcept {
    Data* data = Header();
    if (data == EmptyData()) return; // length 0 into the empty buffer: nothing to write
    data->length = length;
    m_pszData[length] = 0;
}

void CString::PrepareWrite(int capacity) {
    Data* old = Header();
    bool shared = old->IsShared(); // the empty buffer counts as shared
    if (!shared && old->capacity >= capacity) return;
    int length = old->length;
    int want = std::max(capacity, length);
    // Growing by half again keeps a run of appends linear.
    if (capacity > old->capacity && old->capacity > 0)
        want = std::max(want, old->capacity + old->capacity / 2);
    Data* fresh = Allocate(std::max(want, 1));
    std::memcpy(fresh->Chars(), m_pszData, size_t(length) * sizeof(char16_t));
    fresh->length = length;
    fresh->Chars()[length] = 0;
    Release(old);
    m_pszData = fresh->Chars();
}

void CString::Assign(const char16_t* text, int length) {
    if (length <= 0) {
        Empty();
        return;
    }
    Data* old = Header();
    // `text` may point into our own buffer: copy before releasing it.
    if (!old->IsShared() && old->capacity >= length) {
        std::memmove(m_pszData, text, size_t(length) * sizeof(char16_t));
        SetLength(length);
        return;
    }
    Data* fresh = Allocate(length);
    std::memcpy(fresh->Chars(), text, size_t(length) * sizeof(char16_t));
    fresh->length = length;
    fresh->Chars()[length] = 0;
    Release(old);
    m_pszData = fresh->Chars();
}

// ---------------------------------------------------------------------------
// Construction and assignment

CString::CString() noexcept : m_pszData(EmptyData()->Chars()) {}

CString::CString(const CString& other) noexcept : m_pszData(other.m_pszData) {
    Data* data = Header();
    if (data->refs.load(std::memory_order_relaxed) >= 0)
        data->refs.fetch_add(1, std::memory_order_relaxed);
}

CString::CString(CString&& other) noexcept : m_pszData(other.m_pszData) {
    other.m_pszData = EmptyData()->Chars();
}

CString::CString(const char16_t* text) : CString() {
    Assign(text, Length(text));
}

CString::CString(const char16_t* text, int length) : CString() {
    if (text) Assign(text, length);
}

CString::CString(char16_t ch, int repeat) : CString() {
    if (repeat <= 0) return;
    PrepareWrite(repeat);
    for (int i = 0; i < repeat; ++i) m_pszData[i] = ch;
    SetLength(repeat);
}

CString::CString(std::u16string_view text) : CString() {
    Assign(text.data(), static_cast<int>(text.size()));
}

CString::~CString() {
    Release(Header());
}

CString& CString::operator=(const CString& other) noexcept {
    if (m_pszData != other.m_pszData) {
        CString copy(other);
        std::swap(m_pszData, copy.m_pszData);
    }
    return *this;
}

CString& CString::operator=(CString&& other) noexcept {
    std::swap(m_pszData, other.m_pszData);
    return *this;
}

CString& CString::operator=(const char16_t* text) {
    Assign(text, Length(text));
    return *this;
}

CString& CString::operator=(char16_t ch) {
    Assign(&ch, 1);
    return *this;
}

void CString::Empty() noexcept {
    Release(Header());
    m_pszData = EmptyData()->Chars();
}

void CString::SetAt(int index, char16_t ch) {
    PrepareWrite(GetLength());
    m_pszData[index] = ch;
}

// ---------------------------------------------------------------------------
// Appending

void CString::Append(const char16_t* text, int length) {
    if (!text || length <= 0) return;
    int old = GetLength();
    Data* data = Header();
    if (data->IsShared() || data->capacity < old + length) {
        // `text` may live in our own buffer, which PrepareWrite may free.
        if (text >= m_pszData && text <= m_pszData + old) {
            CString keep(*this);
            PrepareWrite(old + length);
            std::memcpy(m_pszData + old, keep.m_pszData + (text - keep.m_pszData),
                        size_t(length) * sizeof(char16_t));
            SetLength(old + length);
            return;
        }
        PrepareWrite(old + length);
    }
    std::memmove(m_pszData + old, text, size_t(length) * sizeof(char16_t));
    SetLength(old + length);
}

void CString::Append(const char16_t* text) {
    Append(text, Length(text));
}
void CString::AppendChar(char16_t ch) {
    Append(&ch, 1);
}

CString& CString::operator+=(const CString& text) {
    if (IsEmpty()) return *this = text;
    Append(text.m_pszData, text.GetLength());
    return *this;
}

CString& CString::operator+=(const char16_t* text) {
    Append(text);
    return *this;
}

CString& CString::operator+=(char16_t ch) {
    Append(&ch, 1);
    return *this;
}

CString operator+(const CString& a, const CString& b) {
    CString result;
    result.Preallocate(a.GetLength() + b.GetLength());
    result.Append(a, a.GetLength());
    result.Append(b, b.GetLength());
    return result;
}

CString operator+(const CString& a, const char16_t* b) {
    int lb = b ? static_cast<int>(wcslen(b)) : 0;
    CString result;
    result.Preallocate(a.GetLength() + lb);
    result.Append(a, a.GetLength());
    result.Append(b, lb);
    return result;
}

CString operator+(const char16_t* a, const CString& b) {
    int la = a ? static_cast<int>(wcslen(a)) : 0;
    CString result;
    result.Preallocate(la + b.GetLength());
    result.Append(a, la);
    result.Append(b, b.GetLength());
    return result;
}

CString operator+(const CString& a, char16_t b) {
    CString result;
    result.Preallocate(a.GetLength() + 1);
    result.Append(a, a.GetLength());
    result.AppendChar(b);
    return result;
}

CString operator+(char16_t a, const CString& b) {
    CString result;
    result.Preallocate(b.GetLength() + 1);
    result.AppendChar(a);
    result.Append(b, b.GetLength());
    return result;
}

// ---------------------------------------------------------------------------
// Comparison

int CString::Compare(const char16_t* text) const noexcept {
    return wcscmp(m_pszData, text ? text : u"");
}

int CString::CompareNoCase(const char16_t* text) const noexcept {
    return _wcsicmp(m_pszData, text);
}

bool operator==(const CString& a, const CString& b) noexcept {
    int n = a.GetLength();
    if (n != b.GetLength()) return false;
    const char16_t* pa = a.GetString();
    const char16_t* pb = b.GetString();
    return pa == pb || std::memcmp(pa, pb, size_t(n) * sizeof(char16_t)) == 0;
}

bool operator==(const CString& a, const char16_t* b) noexcept {
    return a.Compare(b) == 0;
}

// ---------------------------------------------------------------------------
// Case and trimming

// Text that is already in the wanted case keeps its (possibly shared)
// buffer: a parameter's upper name then costs no memory of its own.
CString& CString::MakeUpper() {
    int n = GetLength(), i = 0;
    for (; i < n; ++i) {
        char16_t ch = m_pszData[i];
        if (ch < 128 ? (ch >= u'a' && ch <= u'z') : towupper16(ch) != ch) break;
    }
    if (i < n) {
        PrepareWrite(n);
        TxUpperInPlace(m_pszData + i, size_t(n - i));
    }
    return *this;
}

CString& CString::MakeLower() {
    int n = GetLength(), i = 0;
    for (; i < n; ++i) {
        char16_t ch = m_pszData[i];
        if (ch < 128 ? (ch >= u'A' && ch <= u'Z') : towlower16(ch) != ch) break;
    }
    if (i < n) {
        PrepareWrite(n);
        TxLowerInPlace(m_pszData + i, size_t(n - i));
    }
    return *this;
}

CString& CString::MakeReverse() {
    if (GetLength() > 1) {
        PrepareWrite(GetLength());
        std::reverse(m_pszData, m_pszData + GetLength());
    }
    return *this;
}

template <class Pred>
static void TrimBy(CString& s, bool left, bool right, Pred drop) {
    int n = s.GetLength();
    const char16_t* p = s.GetString();
    int first = 0, last = n;
    if (left)
        while (first < last && drop(p[first])) ++first;
    if (right)
        while (last > first && drop(p[last - 1])) --last;
    if (first == 0 && last == n) return;
    s = CString(p + first, last - first);
}

CString& CString::Trim() {
    TrimBy(*this, true, true, IsSpace);
    return *this;
}
CString& CString::Trim(char16_t ch) {
    TrimBy(*this, true, true, [ch](char16_t c) { return c == ch; });
    return *this;
}
CString& CString::Trim(const char16_t* set) {
    if (set) TrimBy(*this, true, true, [set](char16_t c) { return InSet(set, c); });
    return *this;
}
CString& CString::TrimLeft() {
    TrimBy(*this, true, false, IsSpace);
    return *this;
}
CString& CString::TrimLeft(char16_t ch) {
    TrimBy(*this, true, false, [ch](char16_t c) { return c == ch; });
    return *this;
}
CString& CString::TrimLeft(const char16_t* set) {
    if (set) TrimBy(*this, true, false, [set](char16_t c) { return InSet(set, c); });
    return *this;
}
CString& CString::TrimRight() {
    TrimBy(*this, false, true, IsSpace);
    return *this;
}
CString& CString::TrimRight(char16_t ch) {
    TrimBy(*this, false, true, [ch](char16_t c) { return c == ch; });
    return *this;
}
CString& CString::TrimRight(const char16_t* set) {
    if (set) TrimBy(*this, false, true, [set](char16_t c) { return InSet(set, c); });
    return *this;
}

// ---------------------------------------------------------------------------
// Extraction

CString CString::Mid(int first) const {
    return Mid(first, GetLength());
}

CString CString::Mid(int first, int count) const {
    int n = GetLength();
    if (first < 0) first = 0;
    if (count < 0) count = 0;
    if (first > n) first = n;
    if (count > n - first) count = n - first;
    if (first == 0 && count == n) return *this;
    return CString(m_pszData + first, count);
}

CString CString::Left(int count) const {
    return Mid(0, count);
}

CString CString::Right(int count) const {
    int n = GetLength();
    if (count < 0) count = 0;
    if (count > n) count = n;
    return Mid(n - count, count);
}

CString CString::SpanIncluding(const char16_t* set) const {
    int i = 0;
    if (set)
        while (i < GetLength() && InSet(set, m_pszData[i])) ++i;
    return Left(i);
}

CString CString::SpanExcluding(const char16_t* set) const {
    int i = 0;
    if (!set) return *this;
    while (i < GetLength() && !InSet(set, m_pszData[i])) ++i;
    return Left(i);
}

CString CString::Tokenize(const char16_t* set, int& start) const {
    int n = GetLength();
    if (start < 0 || start >= n) {
        start = -1;
        return CString();
    }
    if (!set || !*set) {
        int from = start;
        start = n;
        return Mid(from);
    }
    int i = start;
    while (i < n && InSet(set, m_pszData[i])) ++i;
    if (i >= n) {
        start = -1;
        return CString();
    }
    int end = i;
    while (end < n && !InSet(set, m_pszData[end])) ++end;
    start = end + 1;
    return Mid(i, end - i);
}

// ---------------------------------------------------------------------------
// Searching

int CString::Find(char16_t ch, int start) const noexcept {
    int n = GetLength();
    if (start < 0) start = 0;
    for (int i = start; i < n; ++i)
        if (m_pszData[i] == ch) return i;
    return -1;
}

int CString::Find(const char16_t* sub, int start) const noexcept {
    if (!sub) return -1;
    int n = GetLength();
    if (start < 0) start = 0;
    if (start > n) return -1;
    size_t pos = View().find(std::u16string_view(sub), size_t(start));
    return pos == std::u16string_view::npos ? -1 : static_cast<int>(pos);
}

int CString::ReverseFind(char16_t ch) const noexcept {
    for (int i = GetLength() - 1; i >= 0; --i)
        if (m_pszData[i] == ch) return i;
    return -1;
}

int CString::FindOneOf(const char16_t* set) const noexcept {
    if (!set) return -1;
    for (int i = 0; i < GetLength(); ++i)
        if (InSet(set, m_pszData[i])) return i;
    return -1;
}

// ---------------------------------------------------------------------------
// Editing

int CString::Replace(char16_t oldCh, char16_t newCh) {
    int first = Find(oldCh);
    if (first < 0) return 0;
    int count = 0;
    if (oldCh == newCh) {
        for (int i = first; i < GetLength(); ++i) count += m_pszData[i] == oldCh;
        return count;
    }
    PrepareWrite(GetLength());
    for (int i = first; i < GetLength(); ++i)
        if (m_pszData[i] == oldCh) {
            m_pszData[i] = newCh;
            ++count;
        }
    return count;
}

int CString::Replace(const char16_t* oldText, const char16_t* newText) {
    int oldLen = Length(oldText);
    if (oldLen == 0) return 0;
    int newLen = Length(newText);
    int pos = Find(oldText);
    if (pos < 0) return 0;
    CString result;
    int count = 0, from = 0;
    while (pos >= 0) {
        result.Append(m_pszData + from, pos - from);
        result.Append(newText, newLen);
        from = pos + oldLen;
        ++count;
        pos = Find(oldText, from);
    }
    result.Append(m_pszData + from, GetLength() - from);
    *this = std::move(result);
    return count;
}

int CString::Remove(char16_t ch) {
    if (Find(ch) < 0) return 0;
    PrepareWrite(GetLength());
    int n = GetLength(), out = 0;
    for (int i = 0; i < n; ++i)
        if (m_pszData[i] != ch) m_pszData[out++] = m_pszData[i];
    SetLength(out);
    return n - out;
}

int CString::Insert(int index, char16_t ch) {
    return Insert(index, CString(ch).GetString());
}

int CString::Insert(int index, const char16_t* text) {
    int n = GetLength();
    if (index < 0) index = 0;
    if (index > n) index = n;
    int add = Length(text);
    if (add == 0) return n;
    CString keep(text, add); // text may alias our buffer
    PrepareWrite(n + add);
    std::memmove(m_pszData + index + add, m_pszData + index, size_t(n - index) * sizeof(char16_t));
    std::memcpy(m_pszData + index, keep.m_pszData, size_t(add) * sizeof(char16_t));
    SetLength(n + add);
    return n + add;
}

int CString::Delete(int index, int count) {
    int n = GetLength();
    if (index < 0) index = 0;
    if (count <= 0 || index >= n) return n;
    if (count > n - index) count = n - index;
    PrepareWrite(n);
    std::memmove(m_pszData + index, m_pszData + index + count,
                 size_t(n - index - count) * sizeof(char16_t));
    SetLength(n - count);
    return n - count;
}

// ---------------------------------------------------------------------------
// Buffers

char16_t* CString::GetBuffer() {
    PrepareWrite(std::max(GetLength(), 1));
    return m_pszData;
}

char16_t* CString::GetBuffer(int minLength) {
    PrepareWrite(std::max({minLength, GetLength(), 1}));
    return m_pszData;
}

namespace {

// The characters a buffer for `length` can hold in the heap block it takes
// anyway: blocks come in steps of 16 bytes, 8 of them the heap's own. A
// string refilled with texts of varying length then seldom reallocates.
int BlockCapacity(int length) {
    if (length > (1 << 28)) return length;
    const std::size_t bytes = sizeof(CString::Data) + (std::size_t(length) + 1) * sizeof(char16_t);
    const std::size_t usable = bytes <= 24 ? 24 : ((bytes - 8 + 15) & ~std::size_t(15)) + 8;
    return static_cast<int>((usable - sizeof(CString::Data)) / sizeof(char16_t) - 1);
}

} // namespace

char16_t* CString::ResizeBuffer(int length) {
    if (length < 0) length = 0;
    // Only reached when the buffer is shared or short: a new one is made
    // anyway, and its length is set below, so the extra room is never read.
    GetBuffer(BlockCapacity(length));
    SetLength(length);
    return m_pszData;
}

void CString::ReleaseBufferSlow(int newLength) {
    Data* data = Header();
    if (data == EmptyData()) return;
    if (newLength < 0) {
        // The terminator at `capacity` stops the scan inside the buffer.
        m_pszData[data->capacity] = 0;
        newLength = static_cast<int>(wcslen(m_pszData));
    }
    if (newLength > data->capacity) newLength = data->capacity;
    SetLength(newLength);
}

void CString::Preallocate(int length) {
    if (length > Header()->capacity || (length > 0 && Header()->IsShared())) PrepareWrite(length);
}

void CString::FreeExtra() {
    Data* data = Header();
    if (data == EmptyData() || data->capacity == data->length) return;
    CString copy(m_pszData, data->length);
    *this = std::move(copy);
}

// ---------------------------------------------------------------------------
// BSTR

BSTR CString::AllocSysString() const {
    return SysAllocStringLen(m_pszData, UINT(GetLength()));
}

BSTR CString::SetSysString(BSTR* target) const {
    SysReAllocStringLen(target, m_pszData, UINT(GetLength()));
    return *target;
}
