#include "tarvex/forms/libfilestate.h"
#include "tarvex/platform/safearray.h"
#include "tests/forms/formstest.h"

namespace {

class FileStateTest : public ScratchTest {};

TEST_F(FileStateTest, SavesBesideTheFileAndLoadsBack) {
    CLibProjectFileState state;
    state.SetStatus(u"checked out");
    state.SetFileNameBase(CParam(u"BASE", u"a.dwg", u"Имя \"базы\"", u""));
    state.SetFileNameFull(CParam(u"FULL", u"C:\\lib\\a.dwg", u"", u"=x"));
    const std::string source = tmp + "/a.dwg";
    ASSERT_EQ(state.Save(W(source)), 1);
    EXPECT_EQ(state.GetName(), CString(u"a.dwg"));
    ASSERT_TRUE(std::filesystem::exists(source + ".status"));

    CLibProjectFileState loaded;
    ASSERT_EQ(loaded.LoadBySrcName(W(source)), 1);
    EXPECT_EQ(loaded.GetStatus(), CString(u"checked out"));
    EXPECT_EQ(loaded.GetName(), CString(u"a.dwg"));
    EXPECT_EQ(loaded.GetFileNameBase().getComment(), CString(u"Имя \"базы\""));
    EXPECT_EQ(loaded.GetFileNameFull().getstrValue(), CString(u"C:\\lib\\a.dwg"));
    EXPECT_EQ(loaded.GetFileNameFull().getValueComment(), CString(u"=x"));
    EXPECT_TRUE(loaded.GetFilenameCustom().getName().IsEmpty());

    EXPECT_EQ(loaded.LoadBySrcName(u""), 0);
    EXPECT_EQ(loaded.LoadBySrcName(W(tmp + "/none")), 0);
}

TEST_F(FileStateTest, WrongRootLeavesTheObjectAsItWas) {
    CLibProjectFileState state;
    state.SetStatus(u"s");
    state.SetFileNameBase(CParam(u"B", u"v", u"c", u""));
    WriteFile(tmp + "/x.status", "<?xml version=\"1.0\"?><Other name=\"n\" status=\"t\">"
                                 "<FileNameBase name=\"Z\"/></Other>");
    EXPECT_EQ(state.LoadFile(W(tmp + "/x.status")), 0);
    EXPECT_EQ(state.GetStatus(), CString(u"s"));
    EXPECT_EQ(state.GetFileNameBase().getName(), CString(u"B"));
}

TEST_F(FileStateTest, PresentAttributesOverwriteEvenWhenEmpty) {
    CLibProjectFileState state;
    state.SetFileNameBase(CParam(u"B", u"v", u"comment", u"vc"));
    WriteFile(tmp + "/x.status", "<?xml version=\"1.0\"?><FileState status=\"new\">"
                                 "<FileNameBase comment=\"\"/></FileState>");
    ASSERT_EQ(state.LoadFile(W(tmp + "/x.status")), 1);
    EXPECT_EQ(state.GetStatus(), CString(u"new"));
    EXPECT_TRUE(state.GetFileNameBase().getComment().IsEmpty());
    EXPECT_EQ(state.GetFileNameBase().getstrValue(), CString(u"v"));
    EXPECT_EQ(state.GetFileNameBase().getValueComment(), CString(u"vc"));
}

TEST_F(FileStateTest, NameWithoutSeparatorIsTheWholePath) {
    const std::string saved = std::filesystem::current_path();
    std::filesystem::current_path(tmp);
    CLibProjectFileState state;
    EXPECT_EQ(state.Save(u"plain.txt"), 1);
    EXPECT_EQ(state.GetName(), CString(u"plain.txt"));
    EXPECT_TRUE(std::filesystem::exists(tmp + "/plain.txt.status"));
    std::filesystem::current_path(saved);
}

CLibFileInfo Info(const CString& name, const CString& file) {
    return CLibFileInfo(1, name, u"", u"", file, tagTIMESTAMP_STRUCT{}, 2);
}

TEST(LibFileInfo, CheckOutNameIsAtMostOneHundredFiftyCharacters) {
    // "N_" + stem + ".dwg": 149, 150 and 151 characters.
    for (int length : {149, 150, 151}) {
        const CString stem(u'f', length - 6);
        const CLibFileInfo info = Info(u"N", stem + u".dwg");
        const CString& name = info.GetCheckOutName();
        if (length <= 150) {
            EXPECT_EQ(name, CString(u"N_") + stem + u".dwg") << length;
        } else {
            EXPECT_EQ(name.GetLength(), 150);
            EXPECT_EQ(name, CString(u"N_") + stem.Left(stem.GetLength() - 1) + u".dwg");
        }
    }
    // No extension: the excess comes off the end.
    EXPECT_EQ(Info(u"N", CString(u'g', 200)).GetCheckOutName(),
              CString(u"N_") + CString(u'g', 148));
    // Too little before the dot to cut: the name and the extension.
    EXPECT_EQ(Info(u"N", CString(u".") + CString(u'e', 160)).GetCheckOutName(), CString(u"N"));
}

TEST(LibFileInfo, ForbiddenCharactersFallBackToNameAndExtension) {
    const CLibFileInfo info = Info(u"a:b", u"c.txt");
    EXPECT_EQ(info.GetCheckOutName(), CString(u"a:b.txt"));
    EXPECT_EQ(info.GetCheckOutPath(u"/d"), CString(u"/d/a_b.txt"));
    EXPECT_EQ(Info(u"n", u"x.t|t").GetCheckOutName(), CString(u"n"));
    EXPECT_EQ(Info(CString(u"t\tab"), u"q").GetCheckOutPath(u"/d"), CString(u"/d/t_ab_q"));

    EXPECT_FALSE(CLibFileInfo::IsValidFileName(u"abc", 3));
    EXPECT_TRUE(CLibFileInfo::IsValidFileName(u"abc", 4));
    for (const char16_t* bad : {u"a\\", u"*", u"?", u"/", u"\"", u"|", u":", u">", u"<"})
        EXPECT_FALSE(CLibFileInfo::IsValidFileName(bad, 10)) << N(bad);
}

TEST(DBVarRecord, ComparesByValue) {
    CDBVarRecord a;
    CDBVarRecord b;
    EXPECT_TRUE(a.IsEqual(b));
    a.Add(new COleVariant(std::int32_t(2)));
    EXPECT_FALSE(a.IsEqual(b));
    b.Add(new COleVariant(2.0));
    EXPECT_TRUE(a.IsEqual(b));
    a.Add(new COleVariant(u"x"));
    b.Add(new COleVariant(u"y"));
    EXPECT_FALSE(a.IsEqual(b));
    b.Delete(1);
    b.Add(new COleVariant(u"x"));
    EXPECT_TRUE(a.IsEqual(b));
}

} // namespace
