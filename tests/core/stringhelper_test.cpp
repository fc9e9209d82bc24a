#include <gtest/gtest.h>

#include "tarvex/core/stringhelper.h"
#include "tarvex/platform/resources.h"

using H = CKVStringHelper;

TEST(CKVStringHelper, NumberAndDescription) {
    struct Case {
        const char16_t *text, *rest;
        int number;
    };
    for (const Case& c : {Case{u"12. Pipe", u"Pipe", 12}, Case{u"12.  Pipe", u" Pipe", 12},
                          Case{u"12 Pipe", u" Pipe", 12}, Case{u". Pipe", u"Pipe", 0},
                          Case{u"-3. Pipe", u"-3. Pipe", 0}}) {
        int number = -1;
        EXPECT_EQ(CString(c.rest), CString(H::ExtractNumAndDescription(c.text, number)));
        EXPECT_EQ(c.number, number) << CString(c.text);
    }
    EXPECT_EQ(CString(u"12. Pipe"), H::CombineNumAndDescription(u"Pipe", 12));
}

TEST(CKVStringHelper, SubstringsKeepEmptyTokensAndDuplicates) {
    TArrayTemplate<CString> inOrder;
    H::GetSubstrings(u" b ; a;; ;b", inOrder);
    CSortedArray<CString> sorted;
    H::GetSubstrings(u" b ; a;; ;b", sorted);
    CString joined;
    H::CombineString(inOrder, joined);
    EXPECT_EQ(CString(u"b; a; ; b"), joined);
    H::CombineString(sorted, joined);
    EXPECT_EQ(CString(u"; a; b; b"), joined);

    CSortedIndirectArray<CString> owned;
    H::GetSubstrings(u"z, y|x,y", owned, u",|");
    ASSERT_EQ(4, owned.GetLength());
    EXPECT_EQ(CString(u"x"), *owned[0]);
    EXPECT_EQ(CString(u"y"), *owned[2]);

    TArrayTemplate<CString> one;
    H::GetSubstrings(u";only;", one);
    EXPECT_EQ(CString(u"only"), H::CombineString(one));
    EXPECT_EQ(CString(), H::CombineString(TArrayTemplate<CString>()));
}

TEST(CKVStringHelper, DateToStringNeedsARealDate) {
    EXPECT_EQ(CString(u"29.02.2024 13:05:09"), H::DateToString({2024, 2, 29, 13, 5, 9, 0}));
    CString invalid = tarvex::LoadResourceString(55296);
    if (invalid.IsEmpty()) invalid = u"Invalid DateTime";
    for (const tagTIMESTAMP_STRUCT& bad :
         {tagTIMESTAMP_STRUCT{2024, 13, 1, 0, 0, 0, 0},
          tagTIMESTAMP_STRUCT{2023, 2, 29, 0, 0, 0, 0},
          tagTIMESTAMP_STRUCT{2024, 1, 1, 0, 60, 0, 0}, tagTIMESTAMP_STRUCT{-1, 1, 1, 0, 0, 0, 0}})
        EXPECT_EQ(invalid, H::DateToString(bad)) << bad.year << '-' << bad.month;
}

TEST(CKVStringHelper, HtmlColours) {
    EXPECT_EQ(CString(u"#0a0b0c"), H::ColorToHTMLColor(0x000A0B0C));
    EXPECT_EQ(CString(u"#0a0b0c"), H::ColorToHTMLColor(0xFF0A0B0C));
    EXPECT_EQ(CString(u"#800a0b0c"), H::ColorToHTMLColor(0x800A0B0C));

    std::uint32_t color = 0;
    EXPECT_TRUE(H::HTMLColorToColor(u"#800a0b0c", color));
    EXPECT_EQ(0x800A0B0Cu, color);
    EXPECT_TRUE(H::HTMLColorToColor(u"#0A0b0C", color));
    EXPECT_EQ(0x000A0B0Cu, color);
    EXPECT_TRUE(H::HTMLColorToColor(u"#12345", color)); // a lone last digit is a pair
    EXPECT_EQ(0x00123405u, color);
    color = 42;
    for (const char16_t* bad : {u"0a0b0c", u"#0a0b", u"#fff", u"#zz0000", u""})
        EXPECT_FALSE(H::HTMLColorToColor(bad, color)) << CString(bad);
    EXPECT_EQ(42u, color);
}

TEST(CKVStringHelper, FileNamesAndExtensions) {
    EXPECT_EQ(CString(u"f.tar.gz"), H::ExtractFileNameAndExt(u"C:\\d/e\\f.tar.gz"));
    EXPECT_EQ(CString(u"f.txt"), H::ExtractFileNameAndExt(u"f.txt"));
    EXPECT_EQ(CString(), H::ExtractFileNameAndExt(u"/dir.d/README"));
    EXPECT_EQ(CString(u"f.tar"), H::ExtractFileNameWithoutExt(u"/e/f.tar.gz"));
    EXPECT_EQ(CString(u".gz"), H::ExtractFileExt(u"/e/f.tar.gz", true));
    EXPECT_EQ(CString(u"gz"), H::ExtractFileExt(u"/e/f.tar.gz", false));
    EXPECT_EQ(CString(), H::ExtractFileExt(u"/dir.d/README", true));

    CString path = u"/data.old/model";
    EXPECT_TRUE(H::ReplaceFileExt(path, u"bak")); // the last point of the whole path
    EXPECT_EQ(CString(u"/data.bak"), path);
    EXPECT_FALSE(H::ReplaceFileExt(path, u""));
    path = u"/data/model";
    EXPECT_FALSE(H::ReplaceFileExt(path, u"xml"));
    EXPECT_EQ(CString(u"/data/model"), path);
}

TEST(CKVStringHelper, ExtractFilePathCutsByLengthMinusSeparatorPosition) {
    // Length 15, last separator at 6: the left 9 characters.
    EXPECT_EQ(CString(u"C:\\dir\\fi"), H::ExtractFilePath(u"C:\\dir\\file.txt"));
    // Length 10, separator at 4: the left 6.
    EXPECT_EQ(CString(u"/a/b/c"), H::ExtractFilePath(u"/a/b/c.txt"));
    // Length 8, separator at 4: here the cut is the folder.
    EXPECT_EQ(CString(u"/abc"), H::ExtractFilePath(u"/abc/x.y"));
    // Unchanged: no name with a point, separator first or missing.
    for (const char16_t* same : {u"/dir/README", u"/x.txt", u"x.txt", u""})
        EXPECT_EQ(CString(same), H::ExtractFilePath(same));
}
