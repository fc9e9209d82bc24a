// The language-neutral frame under the formula compiler: a hand scanner over
// a NUL-terminated UTF-16 text, two-level tables of reserved words, and the
// comparison operations offered to outside callers.
//
// There is no lexing pass: a reader asks GetPrefix what the next character
// introduces and then calls Identifier, NumberAsString or GetString itself.
#pragma once

#include <cstdint>

#include "tarvex/core/sortedarray.h"
#include "tarvex/formula/syntaxerror.h"
#include "tarvex/platform/variant.h"

// Data stored with a reserved word: three 64-bit words, copied whole.
union tagRWData {
    std::int64_t words[3];
    std::int32_t value;
    void* pointer;
    double real;
};

bool r_isalpha(int c);
bool r_isspace(int c);

class CNameSpace : public CTarvexObject {
public:
    class CNSName : public CTarvexObject {
    public:
        CNSName(const char16_t* name, int id, const tagRWData& data);
        char16_t m_szName[32];
        int m_nId;
        tagRWData m_Data;
    };

    CNameSpace(const char16_t* name, CNameSpace* parent);

    void AddWord(const char16_t* name, int id, int value);
    void AddWord(const char16_t* name, int id, void* p);
    void AddWord(const char16_t* name, int id, double d);
    void AddWord(const char16_t* name, int id, void* p1, void* p2, int n);
    void AddWord(const char16_t* name, int id, int a, unsigned short b, void* p, int n);

    // This scope only; reserved words match without regard to case.
    int IsMyNamespaceWord(const char16_t* name, tagRWData& out) const;
    // This scope, then each parent in turn.
    int IsNamespaceWord(const char16_t* name, tagRWData& out) const;
    void Flush();

    const char16_t* GetName() const { return m_szName; }
    CNameSpace* GetParent() const { return m_pParent; }

private:
    static int CompareNames(const CNSName* a, const CNSName* b);
    void Insert(const char16_t* name, int id, const tagRWData& data);

    char16_t m_szName[32];
    CNameSpace* m_pParent;
    CCustomSortedIndirectArrayT<CNSName, &CNameSpace::CompareNames> m_Words;
};

enum EOperations {
    eOpEqual = 0,
    eOpLike,
    eOpLess,
    eOpLessOrEqual,
    eOpGreater,
    eOpGreaterOrEqual,
    eOpNotEqual,
    eOpDefined,
    eOpIsNull,
    eOpRLike,
};

const char16_t* getOperationString(EOperations op, bool display);
// Exact match against the chosen column; 0 when nothing matches.
EOperations getOperationByString(const char16_t* s, bool display);

class CCompiler : public CTarvexObject {
public:
    // Codes of GetPrefix.
    enum {
        kEnd = 0,
        kLeftBracket = 1,
        kRightBracket = 2,
        kLeftBrace = 3,
        kRightBrace = 4,
        kComma = 6,
        kDot = 7,
        kPower = 8,
        kExclamation = 9,
        kUnderscore = 10,
        kEqual = 11,
        kGreater = 12,
        kLess = 13,
        kPlus = 14,
        kMinus = 15,
        kMultiply = 16,
        kDivide = 17,
        kPercent = 18,
        kNotEqual = 19,
        kQuote = 20,
        kAmpersand = 21,
        kBackslash = 22,
        kGreaterOrEqual = 23,
        kLessOrEqual = 24,
        kDigit = 25,
        kLetter = 26,
        kColonMinus = 27,
        kArrow = 28,
        kDoubleColon = 29,
        kOther = 30,
        kLeftSquare = 35,
        kRightSquare = 36,
        kSemicolon = 37,
        kAssign = 38,
        kHash = 39,
        kDollar = 40,
    };

    static constexpr int kMaxNumber = 20;      // characters of a number, sign included
    static constexpr int kMaxIdentifier = 127; // characters of an identifier

    CCompiler() = default;
    ~CCompiler() override;
    // A compiler owns its namespace; a copy would delete it twice.
    CCompiler(const CCompiler&) = delete;
    CCompiler& operator=(const CCompiler&) = delete;

    virtual CString GetString(char16_t quote, bool escapes);
    virtual void OnComment(int first, int closing);
    virtual int GetPrefix();
    virtual int IsReservedWord(const char16_t* name);
    [[noreturn]] virtual void Error(const char16_t* text);
    virtual CNameSpace* GetGlobalNamespace();

    [[noreturn]] void Error(unsigned id);

    void InitRWTable();
    void AddReservedWord(const char16_t* name, int id, int value);
    void SkipSpace();
    // The number's text into `buffer` (kMaxNumber + 1 characters); `type`
    // becomes VT_I4 or VT_R8.
    void NumberAsString(char16_t* buffer, unsigned short& type);
    void Number(VARIANT& out, unsigned short& type);
    // Into `buffer` of kMaxIdentifier + 1 characters.
    void Identifier(char16_t* buffer);

    // The same reads, catching the error and stepping one character on
    // (never past the end of the text).
    int SafeGetPrefix();
    bool SafeGetIdentifier(char16_t* buffer);
    bool SafeGetNumber(VARIANT& out);
    bool SafeGetString(CString& out);

    // Position of the first identifier of `text` equal (without regard to
    // case) to one of `names`; -1 when there is none.
    std::int64_t FindIdentifiers(const char16_t* text, const char16_t* const* names, int count);
    // Writes `text` to `out` with every identifier `name` replaced by
    // `newName`; strings and comments are left alone. True if anything was
    // replaced.
    static bool ReplaceIdentifier(const char16_t* text, const char16_t* name,
                                  const char16_t* newName, CString& out, bool absorbSpaceBeforeDot);

    int GetLine() const { return m_nLine; }
    int GetPosition() const { return m_nPosition; }
    void SetText(const char16_t* text) {
        m_pText = text ? text : u"";
        m_nLine = 0;
        m_nPosition = 0;
    }
    CNameSpace* GetNameSpace() const { return m_pNameSpace; }

protected:
    bool DoReplaceIdentifier(const char16_t* text, const char16_t* name, const char16_t* newName,
                             CString& out, bool absorbSpaceBeforeDot);
    char16_t Current() const { return m_pText[m_nPosition]; }
    char16_t Next() const { return m_pText[m_nPosition] ? m_pText[m_nPosition + 1] : 0; }
    // Moves one character on unless the text has ended.
    void StepOn() {
        if (m_pText[m_nPosition]) ++m_nPosition;
    }

    int m_nLine = 0;
    int m_nPosition = 0;
    const char16_t* m_pText = u"";
    std::int32_t m_nRWData = 0;
    CNameSpace* m_pNameSpace = nullptr;
};
