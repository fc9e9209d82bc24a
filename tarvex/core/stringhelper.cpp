#include "tarvex/core/stringhelper.h"

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/resources.h"
#include "tarvex/platform/unknown.h"
#include "tarvex/platform/variant.h"
#include "tarvex/platform/vartime.h"
#include "tarvex/platform/wide.h"

namespace {

constexpr UINT kInvalidDateTimeId = 55296;

bool IsDigit(char16_t ch) {
    return ch >= u'0' && ch <= u'9';
}

int LastSeparator(const CString& path) {
    const int slash = path.ReverseFind(u'/');
    const int backslash = path.ReverseFind(u'\\');
    return slash > backslash ? slash : backslash;
}

// Each token, trimmed, in text order.
template <class Sink>
void ForEachToken(const char16_t* text, const char16_t* delimiters, Sink sink) {
    if (text == nullptr) return;
    const CString source(text);
    int position = 0;
    while (true) {
        CString token = source.Tokenize(delimiters, position);
        if (position < 0) break;
        token.Trim();
        sink(token);
    }
}

void Join(const TArrayTemplate<CString>& array, CString& out) {
    out.Empty();
    for (const CString& item : array) {
        out += item;
        out += u"; ";
    }
    if (!out.IsEmpty()) out = out.Left(out.GetLength() - 2);
}

// Two hex digits, as "%02X" of swscanf reads them: white space first, then
// one or two digits.
bool ScanHexPair(const char16_t*& p, std::uint32_t& value) {
    while (*p == u' ' || (*p >= u'\t' && *p <= u'\r')) ++p;
    value = 0;
    int count = 0;
    for (; count < 2; ++count, ++p) {
        const char16_t ch = *p;
        std::uint32_t digit;
        if (ch >= u'0' && ch <= u'9')
            digit = ch - u'0';
        else if (ch >= u'a' && ch <= u'f')
            digit = ch - u'a' + 10;
        else if (ch >= u'A' && ch <= u'F')
            digit = ch - u'A' + 10;
        else
            break;
        value = value << 4 | digit;
    }
    return count > 0;
}

CString InvalidDateTimeText() {
    CString text = tarvex::LoadResourceString(kInvalidDateTimeId);
    if (text.IsEmpty()) text = u"Invalid DateTime";
    return text;
}

} // namespace

const char16_t* CKVStringHelper::ExtractNumAndDescription(const char16_t* text, int& number) {
    number = 0;
    if (text == nullptr) return u"";
    if (!IsDigit(*text) && *text != u'.') return text;
    number = _wtoi(text);
    const char16_t* p = text;
    while (IsDigit(*p)) ++p;
    if (*p == u'.') {
        ++p;
        if (*p == u' ') ++p;
    }
    return p;
}

CString CKVStringHelper::CombineNumAndDescription(const char16_t* description, int number) {
    return Format(u"%d. %s", number, description != nullptr ? description : u"");
}

void CKVStringHelper::GetSubstrings(const char16_t* text,
                                    CSortedIndirectArray<CString>& sortedIndirect,
                                    const char16_t* delimiters) {
    ForEachToken(text, delimiters, [&sortedIndirect](const CString& token) {
        sortedIndirect.Add(new CString(token));
    });
}

void CKVStringHelper::GetSubstrings(const char16_t* text, CSortedArray<CString>& sorted) {
    ForEachToken(text, u";", [&sorted](const CString& token) { sorted.Add(token); });
}

void CKVStringHelper::GetSubstrings(const char16_t* text, TArrayTemplate<CString>& array) {
    ForEachToken(text, u";", [&array](const CString& token) { array.Add(token); });
}

CString CKVStringHelper::CombineString(const TArrayTemplate<CString>& array) {
    CString out;
    Join(array, out);
    return out;
}

void CKVStringHelper::CombineString(const TArrayTemplate<CString>& array, CString& out) {
    Join(array, out);
}

void CKVStringHelper::CombineString(const CSortedArray<CString>& sorted, CString& out) {
    Join(sorted, out);
}

CString CKVStringHelper::DateToString(const tagTIMESTAMP_STRUCT& timestamp) {
    SYSTEMTIME time{};
    time.wYear = WORD(timestamp.year);
    time.wMonth = timestamp.month;
    time.wDay = timestamp.day;
    time.wHour = timestamp.hour;
    time.wMinute = timestamp.minute;
    time.wSecond = timestamp.second;

    // Only a date whose fields come back unchanged from the round trip counts
    // as valid; a conversion may normalise what it accepts.
    double date = 0;
    SYSTEMTIME back{};
    if (!SystemTimeToVariantTime(&time, &date) || !VariantTimeToSystemTime(date, &back))
        return InvalidDateTimeText();
    if (int(back.wYear) != int(timestamp.year) || back.wMonth != timestamp.month ||
        back.wDay != timestamp.day || back.wHour != timestamp.hour ||
        back.wMinute != timestamp.minute || back.wSecond != timestamp.second)
        return InvalidDateTimeText();

    BSTR text = nullptr;
    if (FAILED(VarBstrFromDate(date, LOCALE_USER_DEFAULT, 0, &text)) || text == nullptr)
        return InvalidDateTimeText();
    CString result(text, int(SysStringLen(text)));
    SysFreeString(text);
    return result;
}

CString CKVStringHelper::ColorToHTMLColor(std::uint32_t color) {
    const unsigned alpha = color >> 24;
    const unsigned high = (color >> 16) & 0xFF;
    const unsigned middle = (color >> 8) & 0xFF;
    const unsigned low = color & 0xFF;
    if (alpha >= 1 && alpha <= 254) return Format(u"#%02x%02x%02x%02x", alpha, high, middle, low);
    return Format(u"#%02x%02x%02x", high, middle, low);
}

bool CKVStringHelper::HTMLColorToColor(const char16_t* text, std::uint32_t& color) {
    if (text == nullptr || *text != u'#') return false;
    const char16_t* p = text + 1;
    std::uint32_t fields[4];
    int count = 0;
    while (count < 4 && ScanHexPair(p, fields[count])) ++count;
    if (count < 3) return false;
    if (count == 3)
        color = fields[0] << 16 | fields[1] << 8 | fields[2];
    else
        color = fields[0] << 24 | fields[1] << 16 | fields[2] << 8 | fields[3];
    return true;
}

CString CKVStringHelper::ExtractFileNameAndExt(const CString& path) {
    const CString name = path.Mid(LastSeparator(path) + 1);
    return name.Find(u'.') >= 0 ? name : CString();
}

CString CKVStringHelper::ExtractFileNameWithoutExt(const CString& path) {
    const CString name = ExtractFileNameAndExt(path);
    return name.Left(name.ReverseFind(u'.'));
}

CString CKVStringHelper::ExtractFileExt(const CString& path, bool withPoint) {
    const CString name = ExtractFileNameAndExt(path);
    if (name.IsEmpty()) return CString();
    const int point = name.ReverseFind(u'.');
    return name.Mid(withPoint ? point : point + 1);
}

bool CKVStringHelper::ReplaceFileExt(CString& path, const char16_t* extension) {
    if (path.IsEmpty() || extension == nullptr || *extension == 0) return false;
    const int point = path.ReverseFind(u'.');
    if (point < 0) return false;
    path = path.Left(point) + u'.' + extension;
    return true;
}

CString CKVStringHelper::ExtractFilePath(const CString& path) {
    if (path.IsEmpty()) return CString();
    const int separator = LastSeparator(path);
    if (ExtractFileNameAndExt(path).IsEmpty() || separator <= 0) return path;
    return path.Left(path.GetLength() - separator);
}
