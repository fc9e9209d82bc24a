#include <gtest/gtest.h>

#include "tarvex/formula/compiler.h"

namespace {

// Exposes the scanner's reads on a text.
struct Scanner : CCompiler {
    explicit Scanner(const char16_t* text) { SetText(text); }
    int Prefix() { return GetPrefix(); }
    int Pos() const { return m_nPosition; }
    void Skip(int n) { m_nPosition += n; }
    CString NumberText() {
        char16_t buffer[kMaxNumber + 1];
        unsigned short type;
        NumberAsString(buffer, type);
        return CString(buffer);
    }
    unsigned Fails(void (Scanner::*read)()) {
        try {
            (this->*read)();
        } catch (const CSyntaxError& e) {
            for (unsigned id = 101; id <= 161; ++id)
                if (e.GetText() == tarvex_message(id)) return id;
            return 1;
        }
        return 0;
    }
    void ReadNumber() { NumberText(); }
    void ReadIdentifier() {
        char16_t buffer[kMaxIdentifier + 1];
        Identifier(buffer);
    }
    void ReadPrefix() { GetPrefix(); }
    static CString tarvex_message(unsigned id);
};

} // namespace

#include "tarvex/core/formulamessages.h"

CString Scanner::tarvex_message(unsigned id) {
    return tarvex::FormulaMessage(id);
}

TEST(FormulaScanner, PrefixCodesAndWhatTheyConsume) {
    struct Case {
        const char16_t* text;
        int code;
        int position; // after GetPrefix
    } cases[] = {
        {u"", 0, 0},        {u"  (", 1, 2},     {u"<>", 19, 0},  {u"<=", 24, 0},
        {u">=", 23, 0},     {u":=", 38, 0},     {u":-", 27, 2},  {u"::", 29, 2},
        {u"->", 28, 2},     {u"-1", 15, 0},     {u"_", 10, 1},   {u"_x", 26, 0},
        {u"_1", 26, 0},     {u"7", 25, 0},      {u"Жук", 26, 0}, {u"/* a\n */ ;", 37, 9},
        {u"a /* b", 26, 0}, {u"/* open", 0, 7}, {u"[", 35, 0},   {u"$", 40, 0},
        {u"\\", 22, 0},     {u"/", 17, 0},
    };
    for (const Case& c : cases) {
        Scanner s(c.text);
        EXPECT_EQ(c.code, s.Prefix()) << CString(c.text);
        EXPECT_EQ(c.position, s.Pos()) << CString(c.text);
    }
    // A comment's line feeds count; the position is never a column.
    Scanner comment(u"/*\n\n*/x");
    EXPECT_EQ(26, comment.Prefix());
    EXPECT_EQ(2, comment.GetLine());
    EXPECT_EQ(6, comment.GetPosition());
}

TEST(FormulaScanner, BadCharactersAndLoneColon) {
    for (const char16_t* text : {u"@", u"'", u"?", u"|", u"~", u"\u4e00"}) {
        Scanner s(text);
        EXPECT_EQ(102u, s.Fails(&Scanner::ReadPrefix)) << CString(text);
        EXPECT_EQ(0, s.Pos());
    }
    Scanner colon(u"1:2");
    colon.Skip(1);
    EXPECT_EQ(101u, colon.Fails(&Scanner::ReadPrefix));
    EXPECT_EQ(2, colon.Pos()); // the colon was consumed
}

TEST(FormulaScanner, Numbers) {
    EXPECT_EQ(CString(u"-5"), Scanner(u"- 5").NumberText());
    EXPECT_EQ(CString(u"-5"), Scanner(u"-/*c*/5").NumberText());
    Scanner dot(u"1.");
    EXPECT_EQ(CString(u"1"), dot.NumberText());
    EXPECT_EQ(1, dot.Pos());
    Scanner twoDots(u"1.5.2");
    EXPECT_EQ(CString(u"1.5"), twoDots.NumberText());
    EXPECT_EQ(3, twoDots.Pos());
    EXPECT_EQ(CString(u"2e+10"), Scanner(u"2e+10").NumberText());
    EXPECT_EQ(105u, Scanner(u"1e").Fails(&Scanner::ReadNumber));
    EXPECT_EQ(105u, Scanner(u"1e+").Fails(&Scanner::ReadNumber));
    EXPECT_EQ(103u, Scanner(u"-x").Fails(&Scanner::ReadNumber));
    EXPECT_EQ(0u, Scanner(u"12345678901234567890").Fails(&Scanner::ReadNumber));
    EXPECT_EQ(104u, Scanner(u"123456789012345678901").Fails(&Scanner::ReadNumber));
    EXPECT_EQ(104u,
              Scanner(u"-12345678901234567890").Fails(&Scanner::ReadNumber)); // the sign counts
}

TEST(FormulaScanner, Identifiers) {
    std::u16string name(127, u'a');
    EXPECT_EQ(0u, Scanner(name.c_str()).Fails(&Scanner::ReadIdentifier));
    name += u'a';
    EXPECT_EQ(107u, Scanner(name.c_str()).Fails(&Scanner::ReadIdentifier));
    EXPECT_EQ(108u, Scanner(u" a").Fails(&Scanner::ReadIdentifier)); // no leading blanks skipped
}

TEST(FormulaScanner, StringsAndEscapes) {
    struct Reader : Scanner {
        using Scanner::Scanner;
        CString Read(char16_t quote, bool escapes) { return GetString(quote, escapes); }
    };
    EXPECT_EQ(CString(u"a\"b\\c\nd\te"), Reader(u"\"a\\\"b\\\\c\\nd\\te\"").Read(u'"', true));
    EXPECT_EQ(CString(u"xq"), Reader(u"\"\\x\\q\"").Read(u'"', true));
    // The reader without escapes drops one of a doubled quote and stops.
    Reader doubled(u"\"ab\"\"cd\"");
    EXPECT_EQ(CString(u"ab"), doubled.Read(u'"', false));
    Reader open(u"\"abc");
    try {
        open.Read(u'"', true);
        FAIL();
    } catch (const CSyntaxError& e) {
        EXPECT_EQ(CString(u"Пропущена \"\"\""), e.GetText());
        EXPECT_EQ(4, e.GetPosition());
    }
    // A line feed inside a string is not a line.
    Reader lines(u"\"a\nb\"");
    lines.Read(u'"', true);
    EXPECT_EQ(0, lines.GetLine());
    EXPECT_EQ(5, lines.GetPosition());
}

TEST(FormulaScanner, SafeReadsNeverPassTheEnd) {
    for (const char16_t* text : {u"a:", u"\"abc", u"1e", u"\"\\", u"@"}) {
        CCompiler scanner;
        const char16_t* names[] = {u"zz"};
        EXPECT_EQ(-1, scanner.FindIdentifiers(text, names, 1)) << CString(text);
        EXPECT_LE(scanner.GetPosition(), int(std::char_traits<char16_t>::length(text)));
    }
}

TEST(FormulaScanner, FindAndReplaceIdentifiers) {
    CCompiler scanner;
    const char16_t* names[] = {u"x", u"Beta"};
    EXPECT_EQ(11, scanner.FindIdentifiers(u"\"beta\" 1 + BETA", names, 2));
    EXPECT_EQ(-1, scanner.FindIdentifiers(u"/* x */ \"x\" 2", names, 2));

    CString out;
    EXPECT_TRUE(CCompiler::ReplaceIdentifier(u"  a + A*\"a\" /*a*/ + b", u"a", u"q", out, false));
    EXPECT_EQ(CString(u"q + q*\"a\" /*a*/ + b"), out);
    out.Empty();
    EXPECT_TRUE(CCompiler::ReplaceIdentifier(u"abc  .x", u"abc", u"", out, true));
    EXPECT_EQ(CString(u".x"), out);
    out.Empty();
    EXPECT_FALSE(CCompiler::ReplaceIdentifier(u"", u"a", u"b", out, false));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(FormulaNameSpace, CaseBlindWordsAndParents) {
    CNameSpace global(u"g", nullptr);
    global.AddWord(u"Sin", 100, 7);
    global.AddWord(u"alpha", 5, 1);
    CNameSpace own(u"", &global);
    own.AddWord(u"mine", 3, 0);
    tagRWData data{};
    EXPECT_EQ(100, global.IsMyNamespaceWord(u"SIN", data));
    EXPECT_EQ(7, data.value);
    EXPECT_EQ(0, own.IsMyNamespaceWord(u"sin", data));
    EXPECT_EQ(0, data.value);
    EXPECT_EQ(100, own.IsNamespaceWord(u"sIn", data));
    EXPECT_EQ(3, own.IsNamespaceWord(u"MINE", data));
    own.Flush();
    EXPECT_EQ(0, own.IsMyNamespaceWord(u"mine", data));
    EXPECT_EQ(eOpLike, getOperationByString(u"like", false));
    EXPECT_EQ(eOpLike, getOperationByString(u"похож на", true));
    EXPECT_EQ(eOpEqual, getOperationByString(u"LIKE", false));
    EXPECT_EQ(CString(u"не определен"), CString(getOperationString(eOpIsNull, true)));
}
