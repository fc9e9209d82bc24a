// Copying, merging and comparing trees: identity by name for merges, by
// position for comparisons, and walks that survive deep or related trees.
#include <memory>

#include <gtest/gtest.h>

#include "tarvex/element/elementcompare.h"

namespace {

CElement* Child(CElement* parent, const char16_t* name, const char16_t* p) {
    CElement* child = parent->AddChild(name);
    child->SetParameter(u"p", p);
    return child;
}

CString P(const CElement* element) {
    return element->GetParameter(u"p") ? element->GetParameter(u"p")->m_strValue : CString();
}

} // namespace

TEST(ElementMerge, ChildrenMatchByCaseBlindNameInOrderAndExtrasAreAdded) {
    CElement target(u"T");
    CElement* a = Child(&target, u"a", u"old");
    CElement* keep = Child(&target, u"Other", u"untouched");
    const int64_t aId = a->GetFullId();
    CElement source(u"S");
    Child(Child(&source, u"A", u"1"), u"Deep", u"d");
    Child(&source, u"A", u"2");
    target.Merge(&source, false, false, false);

    EXPECT_EQ(CString(u"T"), CString(target.GetName()));
    ASSERT_EQ(3, target.GetChildCount());
    EXPECT_EQ(a, target.GetChild(0));
    EXPECT_EQ(aId, a->GetFullId());
    EXPECT_EQ(CString(u"1"), P(a));
    ASSERT_EQ(1, a->GetChildCount());
    EXPECT_EQ(CString(u"d"), P(a->GetChild(0)));
    EXPECT_EQ(CString(u"untouched"), P(keep));
    CElement* added = target.GetChild(2);
    EXPECT_EQ(CString(u"A"), CString(added->GetName()));
    EXPECT_EQ(CString(u"2"), P(added));
    EXPECT_EQ(target.GetMaxElementIdVal(), added->GetId()); // a fresh id of this tree

    target.Merge(&source, false, false, true);
    EXPECT_EQ(CString(u"S"), CString(target.GetName()));
    EXPECT_EQ(CString(u"A"), CString(a->GetName()));
    EXPECT_EQ(3, target.GetChildCount()); // both A now have a counterpart
}

TEST(ElementMerge, SourceRelatedToTheTargetIsReadAsItWas) {
    CElement root(u"R");
    CElement* x = Child(&root, u"X", u"x");
    Child(x, u"Y", u"y");
    x->Merge(&root, false, false, false); // root's child X is merged into x's own children
    ASSERT_EQ(2, x->GetChildCount());
    EXPECT_EQ(CString(u"X"), CString(x->GetChild(1)->GetName()));
    EXPECT_EQ(1, x->GetChild(1)->GetChildCount());

    CElement::CopyMap map;
    x->AddChildCopy(x, &map);      // a copy of itself under itself, copied once
    EXPECT_EQ(4, map.GetLength()); // x, Y, X and its Y
    EXPECT_EQ(x, map[0].m_Key);
    EXPECT_EQ(x->GetChild(2), map[0].m_Value);
    EXPECT_EQ(2, x->GetChild(2)->GetChildCount());
}

TEST(ElementMerge, CopiesKeepOrRenewIdsAndTagsAsEachFormSays) {
    CElement source(u"S");
    CElement* c = Child(&source, u"C", u"1");
    c->SetTag(0, 42);
    c->SetModelUID(9);
    Child(c, u"D", u"2");
    CElement target(u"T");
    Child(&target, u"old", u"x");
    for (int i = 0; i < 5; ++i) target.GetNextElementId();

    target.CopyChildrenFrom(&source);
    ASSERT_EQ(1, target.GetChildCount());
    CElement* copy = target.GetChild(0);
    EXPECT_EQ(0, copy->GetTagsCount());
    EXPECT_EQ(9, copy->GetModelUID());
    EXPECT_GT(copy->GetId(), 5);
    EXPECT_EQ(CString(u"2"), P(copy->GetChild(0)));

    CElement::CopyMap map;
    CElement* added = target.AddChildCopy(c, &map);
    EXPECT_EQ(42, added->GetTag(0));
    ASSERT_EQ(2, map.GetLength());
    EXPECT_EQ(c->GetChild(0), map[1].m_Key);
    EXPECT_EQ(added->GetChild(0), map[1].m_Value);

    CElement copied(u"Z");
    copied.CopyFrom(c, NullParamsCopy, true);
    EXPECT_EQ(c->GetFullId(), copied.GetFullId());
    EXPECT_EQ(&copied, copied.GetRoot());
    EXPECT_EQ(c->GetChild(0)->GetFullId(), copied.GetChild(0)->GetFullId());
}

TEST(ElementCompare, PositionalPairingAndApplyingChangesTwice) {
    CElement first(u"R");
    Child(&first, u"A", u"1");
    Child(&first, u"B", u"2");
    CElement second(u"R");
    Child(&second, u"New", u"0");
    Child(&second, u"A", u"1");
    Child(&second, u"B", u"2");
    CElement::StructDiffs structs;
    CElement::ParamCompareDiffs params;
    EXPECT_FALSE(first.Compare(&second, structs, params));
    ASSERT_EQ(2, params.GetLength()); // A against New, B against A: names and values differ
    EXPECT_TRUE(params[0]->IsNameChanged());
    EXPECT_EQ(first.GetChild(1), params[1]->m_pElement);
    ASSERT_EQ(1, structs.GetLength());
    EXPECT_EQ(nullptr, structs[0]->m_pFirst);
    EXPECT_EQ(second.GetChild(2), structs[0]->m_pSecond);

    CElement copy(first);
    CElement::StructDiffs none;
    CElement::ParamCompareDiffs noParams;
    EXPECT_TRUE(first.Compare(&copy, none, noParams));

    // (p, null), (null, q) and (p, q) applied twice.
    CElement mine(u"E");
    mine.SetParameter(u"Gone", u"1");
    mine.SetParameter(u"Both", u"1", u"keep me", u"=1");
    CElement theirs(u"E2");
    theirs.SetParameter(u"Both", u"2", u"other", u"=2");
    theirs.SetParameter(u"New", u"3");
    CElement::ParamCompareDiffs diffs;
    mine.DoCompare(&theirs, diffs);
    ASSERT_EQ(1, diffs.GetLength());
    EXPECT_EQ(3, diffs[0]->GetCount());
    diffs[0]->ApplyChanges();
    diffs[0]->ApplyChanges();
    EXPECT_EQ(CString(u"E2"), CString(mine.GetName()));
    EXPECT_EQ(2, mine.GetParamsCount());
    EXPECT_EQ(CString(u"2"), mine.GetParameter(u"Both")->m_strValue);
    EXPECT_EQ(CString(u"=2"), mine.GetParameter(u"Both")->m_strValueComment);
    EXPECT_EQ(CString(u"keep me"), mine.GetParameter(u"Both")->m_strComment);
    EXPECT_EQ(CString(u"3"), mine.GetParameter(u"New")->m_strValue);
}

TEST(ElementCompare, MillionLevelChainsMergeAndCompareWithoutRecursion) {
    constexpr int kDepth = 1000000;
    CElement a(u"R");
    CElement b(u"R");
    CElement* ea = &a;
    CElement* eb = &b;
    for (int i = 0; i < kDepth; ++i) {
        ea = ea->AddChild(u"n");
        eb = eb->AddChild(u"n");
    }
    eb->SetParameter(u"p", u"bottom");
    CElement::StructDiffs structs;
    CElement::ParamCompareDiffs params;
    EXPECT_FALSE(a.Compare(&b, structs, params));
    ASSERT_EQ(1, params.GetLength());
    EXPECT_EQ(ea, params[0]->m_pElement);
    a.Merge(&b, false, false, false);
    EXPECT_EQ(CString(u"bottom"), P(ea));
    EXPECT_EQ(0, ea->GetChildCount());
}
