// The text functions of the language: masks, printf-like formatting with a
// formatter of its own (user text never reaches a variadic call), min and
// max over mixed types, wrapping, splitting and list compaction.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "tarvex/formula/function.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/wide.h"

namespace {

void CheckLength(std::int64_t length) {
    if (length > CFunction::kMaxTextLength) throw CSyntaxError(u"Слишком длинная строка");
}

void SetText(VARIANT& v, const CString& text) {
    CheckLength(text.GetLength());
    BSTR s = text.AllocSysString();
    VariantClear(&v);
    v.vt = VT_BSTR;
    v.bstrVal = s;
}

// Replaces every occurrence of `what` by `with`, left to right, with the
// result's length checked before it is built.
CString ReplaceAll(const CString& text, const CString& what, const CString& with) {
    if (what.IsEmpty()) return text;
    std::int64_t count = 0;
    for (int at = text.Find(what); at >= 0; at = text.Find(what, at + what.GetLength())) ++count;
    if (count == 0) return text;
    CheckLength(text.GetLength() + count * (std::int64_t(with.GetLength()) - what.GetLength()));
    CString result;
    int from = 0;
    for (int at = text.Find(what); at >= 0; at = text.Find(what, from)) {
        result.Append(text.GetString() + from, at - from);
        result += with;
        from = at + what.GetLength();
    }
    result.Append(text.GetString() + from, text.GetLength() - from);
    return result;
}

// One fragment of a like-mask from `index`: `%%` stands for a percent sign.
// Answers false at the end of the mask; `index` moves past the fragment and
// its closing `%`.
bool GetMaskFragment(const CString& mask, CString& fragment, int& index, bool& openAfter) {
    fragment.Empty();
    openAfter = false;
    const int n = mask.GetLength();
    if (index > n) return false;
    while (index < n) {
        const char16_t c = mask[index];
        if (c == u'%') {
            if (index + 1 < n && mask[index + 1] == u'%') {
                fragment.AppendChar(u'%');
                index += 2;
                continue;
            }
            openAfter = true;
            ++index;
            return true;
        }
        fragment.AppendChar(c);
        ++index;
    }
    ++index; // past the end: the last fragment
    return true;
}

} // namespace

bool CFunction::IsLike(const CString& text, const CString& mask) {
    if (mask.IsEmpty()) return text.IsEmpty();
    int index = 0;
    std::int64_t p = 0;
    bool openBefore = false;
    CString fragment;
    bool openAfter;
    const std::int64_t length = text.GetLength();
    while (GetMaskFragment(mask, fragment, index, openAfter)) {
        const int f = fragment.GetLength();
        if (openBefore && openAfter) {
            if (f > 0) {
                if (p > length) return false;
                const int found = text.Find(fragment, int(p));
                if (found < 0) return false;
                p += found + f; // counted from the start of the text, on purpose
            }
        } else if (openBefore) {
            if (length < p + f) return false;
            if (wcscmp(text.GetString() + (length - f), fragment) != 0) return false;
        } else if (openAfter) {
            if (p + f > length) return false;
            if (wcsncmp(text.GetString() + p, fragment, size_t(f)) != 0) return false;
        } else {
            if (p > length || wcscmp(text.GetString() + p, fragment) != 0) return false;
        }
        openBefore = openAfter;
        if (index > mask.GetLength()) break;
    }
    return true;
}

void CFunction::Like(VARIANT& a, VARIANT& b) {
    CString text = AsString(a);
    CString mask = AsString(b);
    text.MakeLower();
    mask.MakeLower();
    const bool result = IsLike(text, mask);
    VariantClear(&a);
    a.vt = VT_BOOL;
    a.boolVal = result ? VARIANT_TRUE : VARIANT_FALSE;
}

// ---------------------------------------------------------------------------
// IsNumber

bool CFunction::IsNumber(const char16_t* s, bool& isReal, char16_t& separator, int& position) {
    isReal = false;
    separator = u'.';
    position = 0;
    if (!s) return false;
    int i = 0;
    if (s[0] == u'-') ++i;
    if (!s[i]) return false;
    for (; s[i]; ++i) {
        if (s[i] == u'.' || s[i] == u',') {
            if (isReal) return false;
            isReal = true;
            separator = s[i];
            position = i;
        } else if (s[i] < u'0' || s[i] > u'9') {
            return false;
        }
    }
    return true;
}

bool CFunction::IsNumber(const char16_t* s, bool& isReal) {
    char16_t separator;
    int position;
    return IsNumber(s, isReal, separator, position);
}

bool CFunction::IsNumber(const char16_t* s) {
    bool isReal;
    return IsNumber(s, isReal);
}

bool CFunction::IsNumber(CString& s, bool& isReal) {
    char16_t separator;
    int position;
    if (!IsNumber(s.GetString(), isReal, separator, position)) return false;
    if (isReal && separator == u',') s.SetAt(position, u'.');
    return true;
}

bool CFunction::IsNumber(CString& s) {
    bool isReal;
    return IsNumber(s, isReal);
}

// ---------------------------------------------------------------------------
// format

VARTYPE CFunction::GetFmtType(const char16_t* s, int length, int* position) {
    bool inside = false;
    for (int i = 0; i < length && s[i]; ++i) {
        const char16_t c = s[i];
        if (!inside) {
            inside = c == u'%';
            continue;
        }
        if (position) *position = i;
        switch (c) {
        case u'%':
            inside = false;
            break;
        case u'C':
        case u'X':
        case u'c':
        case u'd':
        case u'i':
        case u'o':
        case u'u':
        case u'x':
            return VT_I4;
        case u'E':
        case u'G':
        case u'e':
        case u'f':
        case u'g':
            return VT_R8;
        case u's':
            return VT_BSTR;
        case u'n':
        case u'p':
            return VT_ERROR;
        default:
            break;
        }
    }
    return VT_ERROR;
}

namespace {

constexpr int kMaxFieldWidth = 4096;

struct FormatValue {
    VARTYPE type = VT_EMPTY; // VT_EMPTY: the conversion prints a zero value
    int integer = 0;
    double real = 0;
    CString text;
};

// Prints `piece` (a printf format of any length) with at most one value:
// the first conversion takes `value`, later ones their type's zero. Flags,
// width and precision are parsed here, bounded, and only a format built from
// them reaches snprintf, with one argument of the type it names.
void PrintPiece(const char16_t* piece, int length, const FormatValue& value, CString& out) {
    bool used = false;
    for (int i = 0; i < length;) {
        const char16_t c = piece[i++];
        if (c != u'%') {
            out.AppendChar(c);
            continue;
        }
        std::string flags;
        int width = -1, precision = -1;
        char16_t letter = 0;
        for (; i < length; ++i) {
            const char16_t d = piece[i];
            if (d == u'%') break;
            if ((d == u'-' || d == u'+' || d == u' ' || d == u'#' || d == u'0') && width < 0 &&
                precision < 0) {
                if (flags.size() < 8) flags += char(d);
            } else if (d >= u'0' && d <= u'9') {
                int& field = precision >= 0 ? precision : width;
                if (field < 0) field = 0;
                field = std::min(kMaxFieldWidth, field * 10 + (d - u'0'));
            } else if (d == u'.') {
                precision = 0;
            } else if (d == u'*') {
                // The value count is fixed: a star is read as absent.
            } else if (wcschr(u"CXcdiouxEGefgsnp", d)) {
                letter = d;
                ++i;
                break;
            }
            // Anything else (length modifiers, stray letters) is skipped.
        }
        if (!letter) {
            // `%%`, or a format that ends inside a conversion.
            if (i < length && piece[i] == u'%') {
                out.AppendChar(u'%');
                ++i;
            }
            continue;
        }
        const FormatValue zero{};
        const FormatValue& v = used ? zero : value;
        used = true;
        if (letter == u'n' || letter == u'p') continue;
        std::string format(1, '%');
        format.append(flags);
        if (width >= 0) format.append(std::to_string(width));
        if (precision >= 0) format.append(1, '.').append(std::to_string(precision));
        if (letter == u's' || letter == u'c' || letter == u'C') {
            CString text;
            if (letter == u's') {
                text = v.type == VT_BSTR ? v.text : CString();
                if (precision >= 0 && precision < text.GetLength()) text = text.Left(precision);
            } else {
                const int code = v.type == VT_I4 ? v.integer : 0;
                if (code) text = CString(char16_t(code));
            }
            const int pad = std::max(0, width - text.GetLength());
            const bool left = flags.find('-') != std::string::npos;
            CheckLength(std::int64_t(out.GetLength()) + pad + text.GetLength());
            if (!left) out += CString(u' ', pad);
            out += text;
            if (left) out += CString(u' ', pad);
            continue;
        }
        std::vector<char> buffer(size_t(kMaxFieldWidth) * 2 + 400);
        int written;
        if (letter == u'E' || letter == u'G' || letter == u'e' || letter == u'f' ||
            letter == u'g') {
            format += char(letter);
            const double real = v.type == VT_R8 ? v.real : 0.0;
            written = std::snprintf(buffer.data(), buffer.size(), format.c_str(), real);
        } else {
            format += char(letter);
            const int integer = v.type == VT_I4 ? v.integer : 0;
            if (letter == u'd' || letter == u'i')
                written = std::snprintf(buffer.data(), buffer.size(), format.c_str(), integer);
            else
                written =
                    std::snprintf(buffer.data(), buffer.size(), format.c_str(), unsigned(integer));
        }
        written = std::clamp(written, 0, int(buffer.size()) - 1);
        CheckLength(std::int64_t(out.GetLength()) + written);
        for (int k = 0; k < written; ++k)
            out.AppendChar(char16_t(static_cast<unsigned char>(buffer[size_t(k)])));
    }
}

FormatValue ReadValue(const VARIANT& v, VARTYPE type) {
    FormatValue value;
    value.type = type;
    if (type == VT_I4)
        value.integer = CFunction::AsInt(v);
    else if (type == VT_R8)
        value.real = CFunction::AsReal(v);
    else
        value.text = CFunction::AsString(v);
    return value;
}

const char16_t* kFormatError =
    u"Неверный тип аргумента или неверная строка форматирования в функции Format";

void Format(VARIANT* args, int n) {
    if (n <= 1) return;
    const CString format = CFunction::AsString(args[0]);
    CString result;
    if (n == 2) {
        int position = 0;
        const VARTYPE type = CFunction::GetFmtType(format, format.GetLength(), &position);
        if (type != VT_ERROR)
            PrintPiece(format, format.GetLength(), ReadValue(args[1], type), result);
    } else {
        int from = 0;
        for (int k = 1; k < n; ++k) {
            int position = 0;
            const VARTYPE type = CFunction::GetFmtType(format.GetString() + from,
                                                       format.GetLength() - from, &position);
            if (type == VT_ERROR) throw CSyntaxError(kFormatError);
            PrintPiece(format.GetString() + from, position + 1, ReadValue(args[k], type), result);
            from += position + 1;
        }
        result.Append(format.GetString() + from, format.GetLength() - from);
    }
    SetText(args[0], result);
}

// ---------------------------------------------------------------------------

void MinMax(bool isMin, VARIANT* args, int n) {
    const char16_t* word = isMin ? u"min" : u"max";
    if (n < 2) {
        CString text;
        text.Format(u"Функция %s: требуются не менее 2 аргументов.", word);
        throw CSyntaxError(text.GetString());
    }
    bool anyReal = false, anyText = false;
    for (int i = 0; i < n; ++i) {
        switch (args[i].vt) {
        case VT_I2:
        case VT_I4:
        case VT_BOOL:
        case VT_I1:
        case VT_UI1:
        case VT_UI2:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
            break;
        case VT_R4:
        case VT_R8:
            anyReal = true;
            break;
        case VT_BSTR:
            anyText = true;
            break;
        default: {
            CString text;
            text.Format(u"Функция %s: неверный тип аргумента (предполагается число или строка).",
                        word);
            throw CSyntaxError(text.GetString());
        }
        }
    }
    int best = 0;
    if (anyText) {
        CString bestText = CFunction::AsString(args[0]);
        for (int i = 1; i < n; ++i) {
            CString t = CFunction::AsString(args[i]);
            const int order = wcscmp(t, bestText);
            if (isMin ? order < 0 : order > 0) {
                best = i;
                bestText = t;
            }
        }
        SetText(args[0], bestText);
    } else if (anyReal) {
        double bestValue = CFunction::AsReal(args[0]);
        for (int i = 1; i < n; ++i) {
            const double value = CFunction::AsReal(args[i]);
            if (isMin ? value < bestValue : value > bestValue) bestValue = value;
        }
        VariantClear(&args[0]);
        args[0].vt = VT_R8;
        args[0].dblVal = bestValue;
    } else {
        int bestValue = CFunction::AsInt(args[0]);
        for (int i = 1; i < n; ++i) {
            const int value = CFunction::AsInt(args[i]);
            if (isMin ? value < bestValue : value > bestValue) bestValue = value;
        }
        VariantClear(&args[0]);
        args[0].vt = VT_I4;
        args[0].lVal = bestValue;
    }
    (void)best;
}

// Pieces of `text` cut at `delimiter`; a trailing delimiter gives no last
// empty piece.
std::vector<CString> SplitText(const CString& text, const CString& delimiter) {
    std::vector<CString> pieces;
    int from = 0;
    for (int at = text.Find(delimiter); at >= 0; at = text.Find(delimiter, from)) {
        pieces.push_back(text.Mid(from, at - from));
        from = at + delimiter.GetLength();
    }
    if (from < text.GetLength()) pieces.push_back(text.Mid(from));
    return pieces;
}

void Split(VARIANT* args) {
    if (args[0].vt != VT_BSTR)
        throw CSyntaxError(u"Неверный аргумент 1 функции split: предполагается строка.");
    if (args[1].vt != VT_BSTR)
        throw CSyntaxError(u"Неверный аргумент 2 функции split: предполагается строка.");
    const CString text(args[0].bstrVal), delimiter(args[1].bstrVal);
    if (text.IsEmpty() || delimiter.IsEmpty()) return;
    const std::vector<CString> pieces = SplitText(text, delimiter);
    SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, ULONG(pieces.size()));
    if (!array) {
        VariantClear(&args[0]);
        throw CSyntaxError(u"Ошибка при создании массива.");
    }
    for (size_t i = 0; i < pieces.size(); ++i) {
        LONG index = LONG(i);
        BSTR s = pieces[i].AllocSysString();
        SafeArrayPutElement(array, &index, s);
        SysFreeString(s);
    }
    VariantClear(&args[0]);
    args[0].vt = VT_ARRAY | VT_BSTR;
    args[0].parray = array;
}

void WrapText(VARIANT* args) {
    CString text = CFunction::AsString(args[0]);
    const int width = CFunction::AsInt(args[1]);
    const CString newline = CFunction::AsString(args[2]);
    if (text.GetLength() <= width) return;
    text = ReplaceAll(text, u"\r\n", newline);
    text = ReplaceAll(text, u"\n", newline);
    const int n = newline.GetLength();
    const int length = text.GetLength();
    CString result;
    int s = 0, b = length;
    for (int i = 1; i < length; ++i) {
        if (n == 0 || wcsncmp(text.GetString() + i, newline, size_t(n)) != 0) {
            if (text[i] == u' ') b = i;
            if (i - s >= width) {
                if (b - s > width) {
                    result.Append(text.GetString() + s, std::max(0, std::min(width, length - s)));
                } else {
                    result.Append(text.GetString() + s, b - s);
                    if (i > b) i = b + 1;
                }
                b = length;
                s = i;
                CheckLength(std::int64_t(result.GetLength()) + n);
                result += newline;
            }
        } else {
            i += n;
            if (i > length) i = length;
            CString piece = text.Mid(s, i - s);
            b = length;
            s = i;
            CString trimmed = piece;
            trimmed.Trim();
            if (trimmed != newline || trimmed.IsEmpty()) result += piece;
        }
        CheckLength(result.GetLength());
    }
    if (s < length) result.Append(text.GetString() + s, length - s);
    SetText(args[0], result);
}

void PlainText(VARIANT& a) {
    CString text = CFunction::AsString(a);
    text.Replace(u"/n", u" ");
    for (int at; (at = text.FindOneOf(u"\r\n\t")) > 0;) text.Delete(at);
    text.Trim();
    for (int at; (at = text.Find(u"  ")) > 0;) text.Delete(at);
    SetText(a, text);
}

struct ListItem {
    CString text;
    int number = 0;
    int position = -1;
    bool hidden = false;
};

} // namespace

CString CFunction::FormatList(const char16_t* list, const char16_t* delimiter, int sort,
                              int compact, const char16_t* rangeJoiner, const char16_t* itemJoiner,
                              int numSearch) {
    if (!list || !*list) return CString();
    if (!delimiter || !*delimiter || !rangeJoiner || !itemJoiner) return CString(list);
    std::vector<ListItem> items;
    for (CString& piece : SplitText(CString(list), CString(delimiter))) {
        if (piece.IsEmpty()) continue;
        ListItem item;
        item.text = piece;
        const int n = piece.GetLength();
        if (numSearch == 0) {
            for (int i = 0; i < n; ++i)
                if (piece[i] >= u'0' && piece[i] <= u'9') {
                    item.position = i;
                    item.number = wcstol16(piece.GetString() + i, nullptr, 10);
                    break;
                }
        } else if (numSearch == 1) {
            int start = n;
            while (start > 0 && piece[start - 1] >= u'0' && piece[start - 1] <= u'9') --start;
            item.position = start;
            item.number = start < n ? wcstol16(piece.GetString() + start, nullptr, 10) : 0;
        }
        items.push_back(item);
    }
    if (items.empty()) return CString(list);
    bool numbered = true, commonPrefix = true;
    auto prefixOf = [](const ListItem& item) {
        return item.position >= 0 ? item.text.Left(item.position) : item.text;
    };
    const CString firstPrefix = prefixOf(items[0]);
    for (const ListItem& item : items) {
        if (item.position < 0) numbered = false;
        if (prefixOf(item) != firstPrefix) commonPrefix = false;
    }
    if (sort != 0) {
        const bool ascending = sort == 1;
        std::sort(items.begin(), items.end(), [&](const ListItem& a, const ListItem& b) {
            if (numbered) return ascending ? a.number < b.number : a.number > b.number;
            const int order = wcscmp(a.text, b.text);
            return ascending ? order < 0 : order > 0;
        });
    }
    if (compact != 0) {
        std::vector<ListItem> unique;
        for (ListItem& item : items)
            if (unique.empty() || unique.back().number != item.number ||
                unique.back().text != item.text)
                unique.push_back(item);
        items.swap(unique);
    }
    const size_t count = items.size();
    if (sort != 0 && numbered && commonPrefix && (compact == 1 || compact == 2) && count > 2) {
        const bool ascending = sort == 1;
        std::vector<bool> inRun(count, false);
        bool all = true;
        for (size_t i = 1; i + 1 < count; ++i) {
            const std::int64_t prev = items[i - 1].number, cur = items[i].number,
                               next = items[i + 1].number;
            inRun[i] = ascending ? (prev + 1 == cur && cur + 1 == next)
                                 : (cur + 1 == prev && next + 1 == cur);
            all = all && inRun[i];
        }
        for (size_t i = 1; i + 1 < count; ++i)
            items[i].hidden = compact == 2 ? bool(inRun[i]) : all;
    }
    CString out;
    for (size_t i = 0; i < count; ++i) {
        if (items[i].hidden) continue;
        out += items[i].text;
        if (i + 1 < count) out += items[i + 1].hidden ? rangeJoiner : itemJoiner;
        CheckLength(out.GetLength());
    }
    return out;
}

// ---------------------------------------------------------------------------

void CallTextFunction(const CFunction::CToken* token, VARIANT* args, int n) {
    switch (token->m_nTag) {
    case CFunction::ttInstr: {
        const CString a = CFunction::AsString(args[0]), b = CFunction::AsString(args[1]);
        const int at = a.Find(b);
        VariantClear(&args[0]);
        args[0].vt = VT_I4;
        args[0].lVal = at;
        return;
    }
    case CFunction::ttSubstr: {
        const CString a = CFunction::AsString(args[0]);
        int start = CFunction::AsInt(args[1]);
        const int count = CFunction::AsInt(args[2]);
        if (start < 0) start = 0;
        SetText(args[0], count < 0 || start >= a.GetLength() ? CString() : a.Mid(start, count));
        return;
    }
    case CFunction::ttReplace:
        SetText(args[0], ReplaceAll(CFunction::AsString(args[0]), CFunction::AsString(args[1]),
                                    CFunction::AsString(args[2])));
        return;
    case CFunction::ttUCase:
    case CFunction::ttLCase: {
        CString a = CFunction::AsString(args[0]);
        if (token->m_nTag == CFunction::ttUCase)
            a.MakeUpper();
        else
            a.MakeLower();
        SetText(args[0], a);
        return;
    }
    case CFunction::ttWrap:
        WrapText(args);
        return;
    case CFunction::ttPlainText:
        PlainText(args[0]);
        return;
    case CFunction::ttFormat:
        Format(args, n);
        return;
    case CFunction::ttMin:
    case CFunction::ttMax:
        MinMax(token->m_nTag == CFunction::ttMin, args, n);
        return;
    case CFunction::ttSplit:
        Split(args);
        return;
    case CFunction::ttFormatList: {
        const std::int64_t mode = token->m_nArg;
        const int search = int((mode >> 4) & 0xF);
        const int sortBits = int(mode & 12);
        const int sort = sortBits == 4 ? 1 : sortBits == 8 ? 2 : 0;
        const int compact = int(mode & 3);
        for (int i = 0; i < 4; ++i)
            if (args[i].vt != VT_BSTR) {
                static const int kPositions[] = {1, 2, 5, 6};
                CString text;
                text.Format(u"Неверный аргумент %d функции formatList: предполагается строка.",
                            kPositions[i]);
                throw CSyntaxError(text.GetString());
            }
        if (search > 2)
            throw CSyntaxError(
                u"Неверный аргумент 7 функции formatList: предполагается целое число 0, 1 или 2.");
        SetText(args[0], CFunction::FormatList(args[0].bstrVal, args[1].bstrVal, sort, compact,
                                               args[2].bstrVal, args[3].bstrVal, search));
        return;
    }
    default:
        throw CSyntaxError(113u);
    }
}
