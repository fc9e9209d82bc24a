#include "tarvex/formula/compiler.h"

#include <cstdlib>
#include <cstring>

#include "tarvex/core/formulamessages.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

void CopyName(char16_t (&to)[32], const char16_t* from) {
    size_t i = 0;
    if (from)
        for (; i < 31 && from[i]; ++i) to[i] = from[i];
    to[i] = 0;
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

bool IsIdentifierChar(char16_t c) {
    return r_isalpha(c) || IsDigit(c) || c == u'_';
}

} // namespace

bool r_isalpha(int c) {
    if (c >= 1040 && c <= 1103) return true;
    return c > 0 && c < 0x10000 && iswalpha16(char16_t(c));
}

bool r_isspace(int c) {
    return c >= 1 && c <= 32;
}

// ---------------------------------------------------------------------------
// Name spaces

CNameSpace::CNSName::CNSName(const char16_t* name, int id, const tagRWData& data)
    : m_nId(id), m_Data(data) {
    CopyName(m_szName, name);
}

CNameSpace::CNameSpace(const char16_t* name, CNameSpace* parent)
    : m_pParent(parent), m_Words(10, 10, true) {
    CopyName(m_szName, name);
}

int CNameSpace::CompareNames(const CNSName* a, const CNSName* b) {
    return _wcsicmp(a->m_szName, b->m_szName);
}

void CNameSpace::Insert(const char16_t* name, int id, const tagRWData& data) {
    m_Words.Add(new CNSName(name, id, data));
}

void CNameSpace::AddWord(const char16_t* name, int id, int value) {
    tagRWData data{};
    data.value = value;
    Insert(name, id, data);
}

void CNameSpace::AddWord(const char16_t* name, int id, void* p) {
    tagRWData data{};
    data.pointer = p;
    Insert(name, id, data);
}

void CNameSpace::AddWord(const char16_t* name, int id, double d) {
    tagRWData data{};
    data.real = d;
    Insert(name, id, data);
}

void CNameSpace::AddWord(const char16_t* name, int id, void* p1, void* p2, int n) {
    tagRWData data{};
    std::memcpy(&data.words[0], &p1, sizeof p1);
    std::memcpy(&data.words[1], &p2, sizeof p2);
    std::int32_t low = n;
    std::memcpy(&data.words[2], &low, sizeof low);
    Insert(name, id, data);
}

void CNameSpace::AddWord(const char16_t* name, int id, int a, unsigned short b, void* p, int n) {
    tagRWData data{};
    std::int32_t low = a;
    std::memcpy(&data.words[0], &low, sizeof low);
    std::memcpy(reinterpret_cast<char*>(&data.words[0]) + 4, &b, sizeof b);
    low = n;
    std::memcpy(&data.words[1], &low, sizeof low);
    std::memcpy(&data.words[2], &p, sizeof p);
    Insert(name, id, data);
}

int CNameSpace::IsMyNamespaceWord(const char16_t* name, tagRWData& out) const {
    CNSName key(name, 0, out);
    const std::int64_t at = m_Words.Find(&key);
    if (at < 0) {
        out.value = 0;
        return 0;
    }
    out = m_Words[at]->m_Data;
    return m_Words[at]->m_nId;
}

int CNameSpace::IsNamespaceWord(const char16_t* name, tagRWData& out) const {
    for (const CNameSpace* scope = this; scope; scope = scope->m_pParent)
        if (int id = scope->IsMyNamespaceWord(name, out)) return id;
    return 0;
}

void CNameSpace::Flush() {
    m_Words.Clear();
}

// ---------------------------------------------------------------------------
// Comparison operations for outside callers

namespace {

struct OperationText {
    const char16_t* keyword;
    const char16_t* display;
};

constexpr OperationText kOperations[] = {
    {u"=", u"="},
    {u"like", u"похож на"},
    {u"<", u"<"},
    {u"<=", u"<="},
    {u">", u">"},
    {u">=", u">="},
    {u"<>", u"<>"},
    {u"defined", u"определен"},
    {u"isnull", u"не определен"},
    {u"rlike", u"rlike"},
};

} // namespace

const char16_t* getOperationString(EOperations op, bool display) {
    if (unsigned(op) >= sizeof(kOperations) / sizeof(kOperations[0])) return u"";
    return display ? kOperations[op].display : kOperations[op].keyword;
}

EOperations getOperationByString(const char16_t* s, bool display) {
    if (!s) return eOpEqual;
    for (unsigned i = 0; i < sizeof(kOperations) / sizeof(kOperations[0]); ++i)
        if (wcscmp(s, display ? kOperations[i].display : kOperations[i].keyword) == 0)
            return EOperations(i);
    return eOpEqual;
}

// ---------------------------------------------------------------------------
// Scanner

CCompiler::~CCompiler() {
    delete m_pNameSpace;
}

CNameSpace* CCompiler::GetGlobalNamespace() {
    return nullptr;
}

void CCompiler::InitRWTable() {
    if (m_pNameSpace)
        m_pNameSpace->Flush();
    else
        m_pNameSpace = new CNameSpace(u"", GetGlobalNamespace());
}

void CCompiler::AddReservedWord(const char16_t* name, int id, int value) {
    if (!m_pNameSpace) InitRWTable();
    m_pNameSpace->AddWord(name, id, value);
}

int CCompiler::IsReservedWord(const char16_t* name) {
    if (!m_pNameSpace) return 0;
    tagRWData data{};
    const int id = m_pNameSpace->IsMyNamespaceWord(name, data);
    if (id) m_nRWData = data.value;
    return id;
}

void CCompiler::Error(const char16_t* text) {
    delete m_pNameSpace;
    m_pNameSpace = nullptr;
    throw CSyntaxError(text, m_nLine, m_nPosition);
}

void CCompiler::Error(unsigned id) {
    Error(tarvex::FormulaMessage(id).GetString());
    std::abort(); // the virtual Error throws
}

void CCompiler::OnComment(int, int) {}

void CCompiler::SkipSpace() {
    for (char16_t c; (c = m_pText[m_nPosition]) >= 1 && c <= 32; ++m_nPosition)
        if (c == u'\n') ++m_nLine;
}

int CCompiler::GetPrefix() {
    for (;;) {
        SkipSpace();
        const char16_t c = Current();
        switch (c) {
        case 0:
            return kEnd;
        case u'(':
            return kLeftBracket;
        case u')':
            return kRightBracket;
        case u'{':
            return kLeftBrace;
        case u'}':
            return kRightBrace;
        case u',':
            return kComma;
        case u'.':
            return kDot;
        case u'^':
            return kPower;
        case u'!':
            return kExclamation;
        case u'_':
            if (r_isalpha(Next()) || IsDigit(Next())) return kLetter;
            ++m_nPosition;
            return kUnderscore;
        case u'=':
            return kEqual;
        case u'>':
            return Next() == u'=' ? kGreaterOrEqual : kGreater;
        case u'<':
            if (Next() == u'>') return kNotEqual;
            return Next() == u'=' ? kLessOrEqual : kLess;
        case u'+':
            return kPlus;
        case u'-':
            if (Next() == u'>') {
                m_nPosition += 2;
                return kArrow;
            }
            return kMinus;
        case u'*':
            return kMultiply;
        case u'/': {
            if (Next() != u'*') return kDivide;
            m_nPosition += 2;
            const int first = m_nPosition;
            for (;;) {
                const char16_t b = Current();
                if (b == 0) return kEnd; // an open comment ends the text
                if (b == u'*' && Next() == u'/') break;
                if (b == u'\n') ++m_nLine;
                ++m_nPosition;
            }
            OnComment(first, m_nPosition);
            m_nPosition += 2;
            continue;
        }
        case u'%':
            return kPercent;
        case u'"':
            return kQuote;
        case u'&':
            return kAmpersand;
        case u'\\':
            return kBackslash;
        case u':':
            switch (Next()) {
            case u'-':
                m_nPosition += 2;
                return kColonMinus;
            case u':':
                m_nPosition += 2;
                return kDoubleColon;
            case u'=':
                return kAssign;
            default:
                ++m_nPosition;
                Error(101u);
            }
        case u'[':
            return kLeftSquare;
        case u']':
            return kRightSquare;
        case u';':
            return kSemicolon;
        case u'#':
            return kHash;
        case u'$':
            return kDollar;
        default:
            if (IsDigit(c)) return kDigit;
            if (r_isalpha(c)) return kLetter;
            Error(102u);
        }
    }
}

void CCompiler::NumberAsString(char16_t* buffer, unsigned short& type) {
    type = VT_I4;
    int n = 0;
    auto store = [&](char16_t c) {
        if (n >= kMaxNumber) Error(104u);
        buffer[n++] = c;
    };
    if (GetPrefix() == kMinus) {
        store(u'-');
        ++m_nPosition;
        if (GetPrefix() != kDigit) Error(103u);
    }
    for (;;) {
        const char16_t c = Current();
        if (IsDigit(c)) {
            store(c);
            ++m_nPosition;
        } else if (c == u'.' && type == VT_I4 && IsDigit(Next())) {
            type = VT_R8;
            store(c);
            ++m_nPosition;
        } else {
            break;
        }
    }
    if (Current() == u'E' || Current() == u'e') {
        type = VT_R8;
        store(Current());
        ++m_nPosition;
        if (Current() == u'+' || Current() == u'-') {
            store(Current());
            ++m_nPosition;
        }
        if (!IsDigit(Current())) Error(105u);
        while (IsDigit(Current())) {
            store(Current());
            ++m_nPosition;
        }
    }
    buffer[n] = 0;
    if (n == 0) Error(103u);
}

void CCompiler::Number(VARIANT& out, unsigned short& type) {
    char16_t buffer[kMaxNumber + 1];
    NumberAsString(buffer, type);
    VariantClear(&out);
    if (type == VT_I4) {
        out.vt = VT_I4;
        out.lVal = _wtoi(buffer);
    } else {
        out.vt = VT_R8;
        out.dblVal = _wtof(buffer);
    }
}

CString CCompiler::GetString(char16_t quote, bool escapes) {
    const char16_t quoteText[2] = {quote, 0};
    auto missing = [&]() {
        CString text;
        text.Format(tarvex::FormulaMessage(106).GetString(), quoteText);
        Error(text.GetString());
    };
    if (GetPrefix() != kQuote) missing();
    ++m_nPosition;
    CString out;
    for (;;) {
        char16_t c = Current();
        if (c == 0) {
            if (quote == 0) return out;
            missing();
        }
        ++m_nPosition;
        if (c == quote) {
            if (escapes) return out;
            // A doubled quote drops the first of the pair; whatever follows
            // the second decides again.
            if (Current() != quote) return out;
            ++m_nPosition;
            if (Current() != quote) return out;
            continue;
        }
        if (escapes && c == u'\\') {
            c = Current();
            if (c == 0) continue; // reported as the missing quote
            ++m_nPosition;
            switch (c) {
            case u'a':
                c = 7;
                break;
            case u'b':
                c = 8;
                break;
            case u'f':
                c = 12;
                break;
            case u'n':
                c = 10;
                break;
            case u'r':
                c = 13;
                break;
            case u't':
                c = 9;
                break;
            case u'v':
                c = 11;
                break;
            default:
                break;
            }
        }
        out.AppendChar(c);
    }
}

void CCompiler::Identifier(char16_t* buffer) {
    int n = 0;
    while (IsIdentifierChar(Current())) {
        if (n >= kMaxIdentifier) Error(107u);
        buffer[n++] = Current();
        ++m_nPosition;
    }
    buffer[n] = 0;
    if (n == 0) Error(108u);
}

int CCompiler::SafeGetPrefix() {
    for (;;) {
        try {
            return GetPrefix();
        } catch (const CSyntaxError&) {
            StepOn();
        }
    }
}

bool CCompiler::SafeGetIdentifier(char16_t* buffer) {
    try {
        Identifier(buffer);
        return true;
    } catch (const CSyntaxError&) {
        StepOn();
        return false;
    }
}

bool CCompiler::SafeGetNumber(VARIANT& out) {
    try {
        unsigned short type;
        Number(out, type);
        return true;
    } catch (const CSyntaxError&) {
        StepOn();
        return false;
    }
}

bool CCompiler::SafeGetString(CString& out) {
    try {
        out = GetString(u'"', true);
        return true;
    } catch (const CSyntaxError&) {
        StepOn();
        return false;
    }
}

std::int64_t CCompiler::FindIdentifiers(const char16_t* text, const char16_t* const* names,
                                        int count) {
    SetText(text);
    char16_t buffer[kMaxIdentifier + 1];
    for (;;) {
        const int prefix = SafeGetPrefix();
        switch (prefix) {
        case kEnd:
            return -1;
        case kQuote: {
            CString skipped;
            SafeGetString(skipped);
            break;
        }
        case kDigit: {
            VARIANT skipped;
            VariantInit(&skipped);
            SafeGetNumber(skipped);
            break;
        }
        case kLetter: {
            const int start = m_nPosition;
            if (SafeGetIdentifier(buffer))
                for (int i = 0; i < count; ++i)
                    if (names[i] && lstrcmpiW(buffer, names[i]) == 0) return start;
            break;
        }
        default:
            StepOn();
            break;
        }
    }
}

bool CCompiler::ReplaceIdentifier(const char16_t* text, const char16_t* name,
                                  const char16_t* newName, CString& out,
                                  bool absorbSpaceBeforeDot) {
    CCompiler scanner;
    return scanner.DoReplaceIdentifier(text, name, newName, out, absorbSpaceBeforeDot);
}

bool CCompiler::DoReplaceIdentifier(const char16_t* text, const char16_t* name,
                                    const char16_t* newName, CString& out,
                                    bool absorbSpaceBeforeDot) {
    SetText(text);
    if (!name) name = u"";
    if (!newName) newName = u"";
    int prefix = SafeGetPrefix();
    if (prefix == kEnd) return false;
    int mark = m_nPosition;
    bool replaced = false;
    char16_t buffer[kMaxIdentifier + 1];
    for (; prefix != kEnd; prefix = SafeGetPrefix()) {
        switch (prefix) {
        case kQuote: {
            CString skipped;
            SafeGetString(skipped);
            break;
        }
        case kDigit: {
            VARIANT skipped;
            VariantInit(&skipped);
            SafeGetNumber(skipped);
            break;
        }
        case kLetter: {
            const int start = m_nPosition;
            if (!SafeGetIdentifier(buffer) || _wcsicmp(buffer, name) != 0) break;
            out.Append(m_pText + mark, start - mark);
            out += newName;
            replaced = true;
            if (!*newName && absorbSpaceBeforeDot) {
                const int after = m_nPosition;
                const int line = m_nLine;
                if (SafeGetPrefix() != kDot) {
                    m_nPosition = after;
                    m_nLine = line;
                }
            }
            mark = m_nPosition;
            break;
        }
        default:
            StepOn();
            break;
        }
    }
    if (mark < m_nPosition) out.Append(m_pText + mark, m_nPosition - mark);
    return replaced;
}
