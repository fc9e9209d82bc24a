// CString: the library's string of UTF-16 code units.
//
// A tree holds millions of parameters of five strings each, so a CString is a
// single pointer. It points at the characters of a reference-counted buffer
// (header in front, atomic count) that copies share until one of them writes.
// Every empty string shares one static buffer, so an empty CString costs no
// allocation at all.
#pragma once

#include <atomic>
#include <cstdarg>
#include <functional>
#include <string_view>
#include <type_traits>

#include "tarvex/platform/types.h"

using BSTR = OLECHAR*;

class CString {
public:
    CString() noexcept;
    CString(const CString& other) noexcept;
    CString(CString&& other) noexcept;
    CString(const char16_t* text); // null reads as empty
    CString(const char16_t* text, int length);
    explicit CString(char16_t ch, int repeat = 1);
    explicit CString(std::u16string_view text);
    ~CString();

    CString& operator=(const CString& other) noexcept;
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char16_t* text);
    CString& operator=(char16_t ch);

    // Size and access.
    int GetLength() const noexcept { return Header()->length; }
    bool IsEmpty() const noexcept { return Header()->length == 0; }
    // Characters the buffer holds without growing, not counting the
    // terminator.
    int GetAllocLength() const noexcept { return Header()->capacity; }
    void Empty() noexcept;
    char16_t GetAt(int index) const noexcept { return m_pszData[index]; }
    char16_t operator[](int index) const noexcept { return m_pszData[index]; }
    void SetAt(int index, char16_t ch);
    const char16_t* GetString() const noexcept { return m_pszData; }
    operator const char16_t*() const noexcept { return m_pszData; }
    std::u16string_view View() const noexcept { return {m_pszData, size_t(GetLength())}; }

    // Appending.
    CString& operator+=(const CString& text);
    CString& operator+=(const char16_t* text);
    CString& operator+=(char16_t ch);
    void Append(const char16_t* text, int length);
    void Append(const char16_t* text);
    void AppendChar(char16_t ch);

    // Comparison: Compare is ordinal by code unit; CompareNoCase folds both
    // sides to lower case by the library's own table first.
    int Compare(const char16_t* text) const noexcept;
    int CompareNoCase(const char16_t* text) const noexcept;

    // Case and trimming. Trim without arguments removes white space.
    CString& MakeUpper();
    CString& MakeLower();
    CString& MakeReverse();
    CString& Trim();
    CString& Trim(char16_t ch);
    CString& Trim(const char16_t* set);
    CString& TrimLeft();
    CString& TrimLeft(char16_t ch);
    CString& TrimLeft(const char16_t* set);
    CString& TrimRight();
    CString& TrimRight(char16_t ch);
    CString& TrimRight(const char16_t* set);

    // Extraction. Out-of-range arguments are clamped as the familiar class does.
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString Left(int count) const;
    CString Right(int count) const;
    CString SpanIncluding(const char16_t* set) const;
    CString SpanExcluding(const char16_t* set) const;
    CString Tokenize(const char16_t* set, int& start) const;

    // Searching; -1 when not found.
    int Find(char16_t ch, int start = 0) const noexcept;
    int Find(const char16_t* sub, int start = 0) const noexcept;
    int ReverseFind(char16_t ch) const noexcept;
    int FindOneOf(const char16_t* set) const noexcept;

    // Editing; each returns a count or the new length as the familiar class does.
    int Replace(char16_t oldCh, char16_t newCh);
    int Replace(const char16_t* oldText, const char16_t* newText);
    int Remove(char16_t ch);
    int Insert(int index, char16_t ch);
    int Insert(int index, const char16_t* text);
    int Delete(int index, int count = 1);

    // printf-style formatting. `%s` takes a const char16_t*; CString arguments
    // are passed as their text automatically.
    template <class... Args>
    void Format(const char16_t* format, const Args&... args) {
        FormatRaw(format, FormatArg(args)...);
    }
    template <class... Args>
    void AppendFormat(const char16_t* format, const Args&... args) {
        AppendFormatRaw(format, FormatArg(args)...);
    }
    void FormatV(const char16_t* format, va_list args);
    void AppendFormatV(const char16_t* format, va_list args);

    // Direct buffer access. GetBuffer makes the buffer private to this string;
    // ReleaseBuffer(-1) takes the length up to the first null.
    char16_t* GetBuffer();
    char16_t* GetBuffer(int minLength);
    char16_t* GetBufferSetLength(int length) {
        // A private buffer with room is the common case of a reused string.
        Data* data = Header();
        if (length >= 0 && length <= data->capacity &&
            data->refs.load(std::memory_order_acquire) == 1) {
            data->length = length;
            m_pszData[length] = 0;
            return m_pszData;
        }
        return ResizeBuffer(length);
    }
    void ReleaseBuffer(int newLength = -1) {
        // The shared empty buffer has no capacity and is never written.
        Data* data = Header();
        if (newLength >= 0 && newLength <= data->capacity && data->capacity > 0) {
            data->length = newLength;
            m_pszData[newLength] = 0;
            return;
        }
        ReleaseBufferSlow(newLength);
    }
    void Preallocate(int length);
    void FreeExtra();

    BSTR AllocSysString() const;
    BSTR SetSysString(BSTR* target) const;

    // Converts the arguments of Format so they can travel through `...`.
    template <class T>
    static auto FormatArg(const T& value) noexcept {
        if constexpr (std::is_same_v<T, CString>)
            return value.GetString();
        else if constexpr (std::is_array_v<T>)
            return static_cast<const std::remove_extent_t<T>*>(value);
        else {
            static_assert(std::is_trivially_copyable_v<T>, "cannot format this argument type");
            return value;
        }
    }

    // Header in front of the characters. `refs` of -1 marks the shared empty
    // buffer, which is never counted or freed.
    struct Data {
        std::atomic<int> refs;
        int length;
        int capacity; // characters, not counting the terminator

        char16_t* Chars() noexcept { return reinterpret_cast<char16_t*>(this + 1); }
        bool IsShared() const noexcept { return refs.load(std::memory_order_acquire) != 1; }
    };

private:
    static Data* Allocate(int capacity);
    static void Release(Data* data) noexcept;
    Data* Header() const noexcept { return reinterpret_cast<Data*>(m_pszData) - 1; }
    void Assign(const char16_t* text, int length);
    char16_t* ResizeBuffer(int length);
    void ReleaseBufferSlow(int newLength);
    void PrepareWrite(int capacity); // unique buffer with room for `capacity`
    void SetLength(int length) noexcept;
    void FormatRaw(const char16_t* format, ...);
    void AppendFormatRaw(const char16_t* format, ...);

    char16_t* m_pszData;
};

bool operator==(const CString& a, const CString& b) noexcept;
bool operator==(const CString& a, const char16_t* b) noexcept;
inline bool operator!=(const CString& a, const CString& b) noexcept {
    return !(a == b);
}
inline bool operator!=(const CString& a, const char16_t* b) noexcept {
    return !(a == b);
}
inline bool operator<(const CString& a, const CString& b) noexcept {
    return a.Compare(b) < 0;
}
inline bool operator>(const CString& a, const CString& b) noexcept {
    return a.Compare(b) > 0;
}
inline bool operator<=(const CString& a, const CString& b) noexcept {
    return a.Compare(b) <= 0;
}
inline bool operator>=(const CString& a, const CString& b) noexcept {
    return a.Compare(b) >= 0;
}

CString operator+(const CString& a, const CString& b);
CString operator+(const CString& a, const char16_t* b);
CString operator+(const char16_t* a, const CString& b);
CString operator+(const CString& a, char16_t b);
CString operator+(char16_t a, const CString& b);

template <>
struct std::hash<CString> {
    size_t operator()(const CString& s) const noexcept {
        return std::hash<std::u16string_view>()(s.View());
    }
};
