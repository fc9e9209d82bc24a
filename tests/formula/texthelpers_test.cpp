// The static text helpers that other subsystems call directly.
#include <gtest/gtest.h>

#include "formulatest.h"

TEST(FormulaTextHelpers, FormatTypeOfTheFirstConversion) {
    struct Case {
        const char16_t* format;
        VARTYPE type;
        int position;
    } cases[] = {
        {u"%5.2f", VT_R8, 4},   {u"x%d", VT_I4, 2},   {u"%s", VT_BSTR, 1}, {u"%%d", VT_ERROR, -1},
        {u"%%%x", VT_I4, 3},    {u"%Fd", VT_I4, 2},   {u"%ld", VT_I4, 2},  {u"%n%d", VT_ERROR, -1},
        {u"abc", VT_ERROR, -1}, {u"%", VT_ERROR, -1}, {u"%G", VT_R8, 1},   {u"%C", VT_I4, 1},
    };
    for (const Case& c : cases) {
        int position = -1;
        const VARTYPE type = CFunction::GetFmtType(
            c.format, int(std::char_traits<char16_t>::length(c.format)), &position);
        EXPECT_EQ(c.type, type) << CString(c.format);
        if (c.position >= 0) {
            EXPECT_EQ(c.position, position) << CString(c.format);
        }
    }
}

TEST(FormulaTextHelpers, MasksFragmentByFragment) {
    struct Case {
        const char16_t* text;
        const char16_t* mask;
        bool like;
    } cases[] = {
        {u"abc", u"abc", true},
        {u"abc", u"ab", false},
        {u"abc", u"%c", true},
        {u"abc", u"a%", true},
        {u"abc", u"%b%", true},
        {u"abc", u"%x%", false},
        {u"a%c", u"a%%c", true},
        {u"abc", u"a%%c", false},
        {u"%", u"%%%", true},
        {u"ab", u"ab%b", true},
        {u"xaxbxc", u"%a%b%c", false},
        {u"ab", u"%a%b", true},
        {u"", u"%", true},
        {u"", u"", true},
        {u"a", u"", false},
        {u"abcabc", u"%bc%bc", true},
        {u"abc", u"abcd%", false},
        {u"abc", u"%abcd", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.like, CFunction::IsLike(CString(c.text), CString(c.mask)))
            << CString(c.text) << " like " << CString(c.mask);
}

TEST(FormulaTextHelpers, FormatListArguments) {
    EXPECT_EQ(CString(u""), CFunction::FormatList(nullptr, u",", 1, 1, u"-", u", ", 0));
    EXPECT_EQ(CString(u"3,1"), CFunction::FormatList(u"3,1", nullptr, 1, 1, u"-", u", ", 0));
    EXPECT_EQ(CString(u"3,1"), CFunction::FormatList(u"3,1", u",", 1, 1, nullptr, u", ", 0));
    EXPECT_EQ(CString(u",,"), CFunction::FormatList(u",,", u",", 1, 1, u"-", u", ", 0)); // no items
    // From the back: the digits that end each piece.
    EXPECT_EQ(CString(u"P2x1-P2x3"),
              CFunction::FormatList(u"P2x3,P2x1,P2x2", u",", 1, 1, u"-", u", ", 1));
    // A piece that does not end in a digit has number 0 and no common prefix.
    EXPECT_EQ(CString(u"b, a1"), CFunction::FormatList(u"a1,b", u",", 1, 2, u"-", u", ", 1));
    // Without a sort nothing is joined into ranges.
    EXPECT_EQ(CString(u"1; 2; 3"), CFunction::FormatList(u"1,2,3", u",", 0, 2, u"-", u"; ", 0));
    // Duplicates go once compaction is asked for, whatever its kind.
    EXPECT_EQ(CString(u"1-3"), CFunction::FormatList(u"1,1,2,3,3", u",", 1, 1, u"-", u", ", 0));
    EXPECT_EQ(CString(u"1, 1, 2"), CFunction::FormatList(u"1,2,1", u",", 1, 0, u"-", u", ", 0));
}

TEST(FormulaTextHelpers, WrapAndPlainText) {
    formulatest::Evaluator e;
    EXPECT_EQ(CString(u"ab|cd"), e.Eval(u"wrap(\"ab\\ncd\", 3, \"|\")"));
    // A line of blanks stays when the newline trims away, and goes when it
    // does not.
    EXPECT_EQ(CString(u"ab\n  \ncd"), e.Eval(u"wrap(\"ab\\n  \\ncd\", 3, \"\\n\")"));
    EXPECT_EQ(CString(u"ab|cd"), e.Eval(u"wrap(\"ab\\n  \\ncd\", 3, \"|\")"));
    EXPECT_EQ(CString(u"abc|def|g"), e.Eval(u"wrap(\"abcdefg\", 3, \"|\")"));
    EXPECT_EQ(CString(u"a\tb"),
              e.Eval(u"plainText(\"\\ta\\tb\")")); // one in front ends the deleting
    EXPECT_EQ(CString(u"a b"), e.Eval(u"plainText(\"a\\r\\n  b\")"));
    EXPECT_EQ(CString(u"x y"), e.Eval(u"plainText(\"x/ny\")"));
}
