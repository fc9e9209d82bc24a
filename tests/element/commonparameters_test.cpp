// Common parameters of several owners for one form, and element snapshots.
#include <clocale>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tarvex/element/commonparameters.h"

TEST(CommonParameters, DifferencesReadOnlyFormulasAndTheChangeSetUnderCLocale) {
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    setenv("LANG", "C", 1);
    std::setlocale(LC_ALL, "C");
    CParamsOwner first;
    first.SetParameter(u"A", u"1");
    first.SetParameter(u"F", u"1", nullptr, u"=1");
    first.SetParameter(u"Same", u"s");
    first.SetParameter(u"Гость", u"x");
    CParamsOwner second;
    second.SetParameter(u"a", u"2");
    second.SetParameter(u"Same", u"s");
    second.SetParameter(u"ГОСТЬ", u"x");

    CCommonParameters common;
    common.AddParameters(first);
    EXPECT_TRUE(common.IsParameterReadOnly(u"f"));
    EXPECT_FALSE(common.IsParameterReadOnly(u"A"));
    common.AddParameters(second);
    CParamsOwner& set = common.GetParameters();
    EXPECT_EQ(CString(u"*разные*"), set.GetParameter(u"A")->m_strValue);
    EXPECT_EQ(nullptr, set.GetParameter(u"F"));
    EXPECT_EQ(CString(u"x"), set.GetParameter(u"гость")->m_strValue);

    common.SetValueModified(u"a");
    common.SetCommentModified(u"гость");
    EXPECT_EQ(2u, common.GetParamFlags(u"ГОСТЬ"));
    common.UpdateParameters(true);
    EXPECT_EQ(CString(u"*VALUE_SET*"), set.GetParameter(u"A")->m_strComment);
    EXPECT_EQ(CString(u"*COMMENT_SET*"), set.GetParameter(u"Гость")->m_strComment);
    EXPECT_EQ(nullptr, set.GetParameter(u"Same")); // unchanged, not sent
    std::setlocale(LC_ALL, saved.c_str());
}

TEST(CommonParameters, RecordsAreCutByIndexAcrossTheTwoOrders) {
    // Upper case sorts "AB" < "A_", lower case "a_" < "ab": dropping AB at
    // its index drops the flag record of a_.
    CParamsOwner first;
    first.SetParameter(u"A_", u"1");
    first.SetParameter(u"AB", u"1", nullptr, u"=1");
    CParamsOwner second;
    second.SetParameter(u"A_", u"1");
    CCommonParameters common;
    common.AddParameters(first);
    common.AddParameters(second);
    EXPECT_EQ(1, common.GetParameters().GetParamsCount());
    EXPECT_TRUE(common.IsParameterReadOnly(u"AB"));
    EXPECT_FALSE(common.IsParameterReadOnly(u"A_"));
}

TEST(ElementBackup, SnapshotKeepsProtectedAndNamedParameters) {
    CElement element(u"E");
    element.SetParameter(u"Keep", u"1");
    element.SetParameter(u"Guard", u"2");
    element.SetParameter(u"Drop", u"3");
    element.AddChild(u"Child")->SetParameter(u"Drop", u"4");
    CElementBackup backup(&element);
    backup.ProtectParam(u"guard");
    CIndirectArray<CString> names;
    names.Add(new CString(u"KEEP"));
    backup.RemoveALLParamsExcept(names);
    EXPECT_EQ(2, backup.GetElement().GetParamsCount());
    EXPECT_EQ(nullptr, backup.GetElement().GetParameter(u"Drop"));
    EXPECT_EQ(3, element.GetParamsCount());
    backup.RemoveALLParams();
    EXPECT_EQ(1, backup.GetElement().GetParamsCount());
    backup.RemoveChild(u"Child");
    EXPECT_EQ(0, backup.GetElement().GetChildCount());
    EXPECT_EQ(1, element.GetChildCount());
}
