#include <gtest/gtest.h>

#include "tarvex/element/param.h"

TEST(Param, NamesCompareByUpperCaseWhateverTheirCase) {
    CParam latin(u"Abc", u"1", nullptr, nullptr), upper(u"ABC", u"2", u"c", u"vc");
    EXPECT_TRUE(latin == upper); // value and comments play no part
    EXPECT_FALSE(latin != upper);
    EXPECT_FALSE(CParam(u"Abc", nullptr, nullptr, nullptr) ==
                 CParam(u"Abcd", nullptr, nullptr, nullptr));
    EXPECT_TRUE(CParam(u"Длина", nullptr, nullptr, nullptr) ==
                CParam(u"ДЛИНА", nullptr, nullptr, nullptr));
    EXPECT_TRUE(CParam(u"ёмкость", nullptr, nullptr, nullptr) ==
                CParam(u"ЁМКОСТЬ", nullptr, nullptr, nullptr));
    EXPECT_EQ(CString(u"ЁМКОСТЬ_Z1"), CParam(u"ёмкость_z1", nullptr, nullptr, nullptr).UpperName());
}

TEST(Param, EqualityOfDifferentLengthsNeedsNoUpperName) {
    CParam a, b;
    a.m_strName = u"abc"; // set behind the cache's back: the upper name stays empty
    b.m_strName = u"abcd";
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a.m_strUpperName.IsEmpty());
    EXPECT_TRUE(b.m_strUpperName.IsEmpty());
}

TEST(Param, OrderIsByCodeUnitOfTheUpperName) {
    CParam digit(u"9", nullptr, nullptr, nullptr), latin(u"z", nullptr, nullptr, nullptr),
        cyrillic(u"а", nullptr, nullptr, nullptr), underscore(u"_", nullptr, nullptr, nullptr);
    EXPECT_LT(digit, latin);
    EXPECT_LT(latin, underscore); // 'Z' (0x5A) before '_' (0x5F): compared upper-cased
    EXPECT_LT(underscore, cyrillic);
    EXPECT_LE(latin, CParam(u"Z", nullptr, nullptr, nullptr));
    EXPECT_GE(latin, CParam(u"Z", nullptr, nullptr, nullptr));
    EXPECT_GT(cyrillic, latin);
}

TEST(Param, SetNameRecomputesTheUpperNameOnDemand) {
    CParam p(u"old", nullptr, nullptr, nullptr);
    p.setName(u"Новое");
    EXPECT_TRUE(p.m_strUpperName.IsEmpty());
    EXPECT_TRUE(p == CParam(u"НОВОЕ", nullptr, nullptr, nullptr));
    EXPECT_EQ(CString(u"НОВОЕ"), p.m_strUpperName);
    EXPECT_EQ(CString(u"Новое"), p.getName()); // case kept for display
}

TEST(Param, ConstructorTakesValueBeforeComment) {
    CParam p(u"n", u"value", u"comment", u"value comment");
    EXPECT_EQ(CString(u"value"), p.m_strValue);
    EXPECT_EQ(CString(u"comment"), p.m_strComment);
    EXPECT_EQ(CString(u"value comment"), p.m_strValueComment);
    CParam empty(nullptr, nullptr, nullptr, nullptr);
    EXPECT_TRUE(empty.m_strName.IsEmpty() && empty.m_strValue.IsEmpty());
}

TEST(Param, FormulaTest) {
    auto calculated = [](const char16_t* valueComment) {
        return CParam(u"p", nullptr, nullptr, valueComment).IsCalculated();
    };
    EXPECT_TRUE(calculated(u"  =1+1"));
    EXPECT_TRUE(calculated(u"\t\r\n=x"));
    EXPECT_FALSE(calculated(u"a=1"));
    EXPECT_FALSE(calculated(u"  "));
    EXPECT_FALSE(calculated(u""));

    int position = -1;
    EXPECT_TRUE(CParam::IsFormulaText(u" =A", position));
    EXPECT_EQ(2, position);
    EXPECT_FALSE(CParam::IsFormulaText(u"   x", position));
    EXPECT_EQ(3, position);
    EXPECT_FALSE(CParam::IsFormulaText(nullptr, position));
}

TEST(Param, ErasedMarkerCountsOnlyWithAnEmptyValue) {
    EXPECT_TRUE(CParam(u"p", u"", u"*ERASED*", nullptr).IsErased());
    EXPECT_FALSE(CParam(u"p", u"5", u"*ERASED*", nullptr).IsErased());
    EXPECT_FALSE(CParam(u"p", u"", u"*erased*", nullptr).IsErased());
}

TEST(Param, DescriptionAndAssignments) {
    CParam p(u"Name", u"1", u"", u"=a");
    EXPECT_EQ(CString(u"Name"), p.getParamDesc());
    p.m_strComment = u"Описание";
    EXPECT_EQ(CString(u"Описание"), p.getParamDesc());

    CParam source(u"Other", u"2", u"source comment", u"=b");
    CParam target = p;
    target.AssignValue(source);
    EXPECT_EQ(CString(u"2"), target.m_strValue);
    EXPECT_EQ(CString(u"=a"), target.m_strValueComment);
    target = p;
    target.AssignValueComment(source);
    EXPECT_EQ(CString(u"1"), target.m_strValue);
    EXPECT_EQ(CString(u"=b"), target.m_strValueComment);
    target = p;
    target.AssignValueAndComment(source);
    EXPECT_EQ(CString(u"2"), target.m_strValue);
    EXPECT_EQ(CString(u"=b"), target.m_strValueComment);
    EXPECT_EQ(CString(u"Описание"), target.m_strComment); // despite the name
    EXPECT_EQ(CString(u"Name"), target.m_strName);

    target = source;
    EXPECT_EQ(CString(u"Other"), target.m_strName);
    EXPECT_EQ(CString(u"OTHER"), target.UpperName());
    EXPECT_EQ(CString(u"source comment"), target.m_strComment);
}

TEST(ParamUnmanaged, MovingLeavesTheSourceAsItWas) {
    CParamUnmanaged source(u"n", u"v", u"c", u"vc");
    EXPECT_EQ(CString(u"c"), source.m_strComment);
    EXPECT_EQ(CString(u"vc"), source.m_strValueComment);
    CParamUnmanaged moved(std::move(source));
    CParamUnmanaged assigned;
    assigned = std::move(source);
    for (const CParamUnmanaged* p : {&source, &moved, &assigned}) {
        EXPECT_EQ(CString(u"n"), p->m_strName);
        EXPECT_EQ(CString(u"v"), p->m_strValue);
    }
}
