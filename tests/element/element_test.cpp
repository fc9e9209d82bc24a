#include <gtest/gtest.h>

#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/element/elementunmanaged.h"

namespace {

// The names of the children, comma-separated.
std::u16string Children(const CElement& element) {
    std::u16string out;
    for (int64_t i = 0; i < element.GetChildCount(); ++i) {
        if (i) out += u',';
        out += element.GetChild(i)->GetName();
    }
    return out;
}

// Whether every element below `element` names its parent and `root`.
bool LinksHold(const CElement* element, const CElement* root) {
    for (int64_t i = 0; i < element->GetChildCount(); ++i) {
        const CElement* child = element->GetChild(i);
        if (child->GetParent() != element || child->GetRoot() != root) return false;
        if (!LinksHold(child, root)) return false;
    }
    return true;
}

} // namespace

TEST(Element, IdsComeFromTheRootCounter) {
    CElement root(u"root");
    CElement* child = root.AddChild(u"child");
    CElement* grandchild = child->AddChild(u"grandchild");
    EXPECT_EQ(0, root.GetLevel());
    EXPECT_EQ(2, grandchild->GetLevel());
    EXPECT_EQ(0, root.GetId());
    EXPECT_EQ(-1, root.GetModelUID());
    EXPECT_EQ(1, child->GetId());
    EXPECT_EQ(2, grandchild->GetId());
    EXPECT_EQ(&root, grandchild->GetRoot());

    CElement* given = root.AddChild(u"given", 100, 7);
    EXPECT_EQ(100, given->GetId());
    EXPECT_EQ(7, given->GetModelUID());
    EXPECT_EQ(101, grandchild->AddChild(u"next")->GetId());

    // Setting an id leaves the counter, so the next id can collide.
    child->SetId(102);
    EXPECT_EQ(102, root.AddChild(u"clash")->GetId());
    child->ChangeElementId(-5);
    EXPECT_EQ(-5, child->GetFullId());
    child->SetId(int64_t(1) << 40 | 3);
    EXPECT_EQ(3, child->GetId());
    EXPECT_EQ(102, root.GetMaxElementIdVal());

    CElement* inserted = root.InsertChild(0, u"first");
    EXPECT_EQ(103, inserted->GetId());
    EXPECT_EQ(inserted, root.GetChild(0));
    EXPECT_EQ(&root, inserted->GetParent());
    root.InsertChild(99, u"last");
    EXPECT_EQ(u"first,child,given,clash,last", Children(root));
}

TEST(Element, ValidateElementIdsKeepsTheFirstInPreOrder) {
    CElement root(u"root");
    CElement* a = root.AddChild(u"a");
    CElement* a1 = a->AddChild(u"a1");
    CElement* b = root.AddChild(u"b");
    a1->SetId(5);
    b->SetId(5);
    EXPECT_FALSE(root.ValidateElementIds());
    EXPECT_EQ(5, a1->GetId());
    EXPECT_EQ(4, b->GetId()); // the counter stood at 3
    EXPECT_TRUE(root.ValidateElementIds());

    CElement::IdsMap map;
    root.GetIdsMap(map);
    EXPECT_EQ(4u, map.size());
    EXPECT_EQ(b, map[4]);

    int64_t next = 10;
    root.SetNewElementIds(next);
    EXPECT_EQ(14, next);
    EXPECT_EQ(12, a1->GetId());
    EXPECT_EQ(13, b->GetId());
    CElement::IdMap replace;
    replace.Add(CIndexRecord<int64_t, int64_t>(12, 20));
    root.ReplaceElementIds(replace);
    EXPECT_EQ(20, a1->GetId());
    EXPECT_EQ(11, a->GetId());
}

TEST(Element, LookupsDifferInCaseAndReach) {
    CElement root(u"Root");
    CElement* a = root.AddChild(u"A");
    CElement* b = a->AddChild(u"B");
    CElement* deep = b->AddChild(u"T");
    CElement* c = root.AddChild(u"C");
    CElement* shallow = c->AddChild(u"T");
    CElement* lower = root.AddChild(u"a");
    lower->SetModelUID(9);
    b->SetModelUID(9);

    EXPECT_EQ(nullptr, root.GetChild(-1));
    EXPECT_EQ(nullptr, root.GetChild(root.GetChildCount()));
    EXPECT_EQ(lower, root.GetChild(u"a"));
    EXPECT_EQ(a, root.GetChildNoCase(u"a"));
    EXPECT_EQ(nullptr, root.GetChild(u"T"));
    int64_t index = -1;
    EXPECT_EQ(nullptr, root.GetChild(u"A", 1, index));
    EXPECT_EQ(-1, index);
    EXPECT_EQ(lower, root.GetChild(u"a", 1, index));
    EXPECT_EQ(2, index);

    // Each child in turn searches its own children first, then recurses: the
    // first child's deep match wins over the second child's shallow one.
    EXPECT_EQ(deep, root.QueryChild(u"T"));
    EXPECT_EQ(shallow, c->QueryChild(u"T"));
    EXPECT_EQ(nullptr, deep->QueryChild(u"T"));
    EXPECT_EQ(&root, root.GetElementByName(u"ROOT"));
    EXPECT_EQ(b, root.GetElementByName(u"b"));

    EXPECT_EQ(&root, root.GetElementById(0));
    EXPECT_EQ(nullptr, root.GetChildByIdRecursive(0));
    EXPECT_EQ(nullptr, root.GetChildById(deep->GetId()));
    EXPECT_EQ(deep, root.GetChildByIdRecursive(deep->GetId()));
    EXPECT_EQ(c, root.GetChildById(c->GetId()));
    EXPECT_EQ(lower, root.GetChildByModelId(9));
    EXPECT_EQ(b, root.GetChildByModelIdRecursive(9)); // pre-order

    EXPECT_TRUE(root.HasChild(deep));
    EXPECT_FALSE(root.HasChild(&root));
    EXPECT_FALSE(a->HasChild(shallow));
    EXPECT_EQ(1, root.GetChildIndex(c));
    EXPECT_EQ(-1, root.GetChildIndex(deep));
}

TEST(Element, WalksAndParameterFilters) {
    CElement root(u"root");
    CElement* a = root.AddChild(u"a");
    CElement* a1 = a->AddChild(u"a1");
    CElement* b = root.AddChild(u"b");
    a->SetParameter(u"Kind", u"Pipe");
    a1->SetParameter(u"KIND", u"pipe");
    b->SetParameter(u"other", u"Pipe");

    EXPECT_EQ(a, root.FindElementByParameterValue(u"kind", u"Pipe", false));
    EXPECT_EQ(a1, a1->FindElementByParameterValueC(u"kind", u"PIPE", true));
    CElement::ElementList found;
    root.FindElementsByParameterValue(u"kind", u"pipe", true, found);
    ASSERT_EQ(2, found.GetLength()); // matches below a match count too
    EXPECT_EQ(a1, found[1]);
    found.Clear();
    root.FindElementsByParameterName(u"other", found);
    ASSERT_EQ(1, found.GetLength());
    EXPECT_EQ(b, found[0]);

    std::u16string order;
    auto visit = [](CElement* element, void* data) {
        auto& out = *static_cast<std::u16string*>(data);
        out += element->GetName();
        out += u' ';
        return element->GetLevel() < 2;
    };
    EXPECT_FALSE(root.Iterate(visit, &order));
    EXPECT_EQ(u"root a a1 ", order); // pre-order, stopped at the first false
}

TEST(Element, ChangeParentWithinATree) {
    CElement root(u"root");
    CElement* a = root.AddChild(u"a");
    CElement* b = root.AddChild(u"b");
    CElement* moved = a->AddChild(u"m");
    moved->AddChild(u"m1");
    moved->ChangeParent(b, false);
    EXPECT_EQ(u"", Children(*a));
    EXPECT_EQ(b, moved->GetParent());
    b->AddChild(u"x");
    moved->ChangeParent(b, false);
    EXPECT_EQ(u"x,m", Children(*b));
    moved->ChangeParent(b, true);
    EXPECT_EQ(u"m,x", Children(*b));
    moved->ChangeParent(&root, true);
    EXPECT_EQ(u"m,a,b", Children(root));
    EXPECT_TRUE(LinksHold(&root, &root));
    EXPECT_EQ(2, moved->GetChild(0)->GetLevel());
}

TEST(Element, ChangeParentAcrossTreesThrowsAndLeavesBothWhole) {
    CElement first(u"first"), second(u"Второе");
    CElement* a = first.AddChild(u"Элемент");
    a->AddChild(u"a1");
    CElement* target = second.AddChild(u"target");
    try {
        a->ChangeParent(target, false);
        FAIL() << "no exception";
    } catch (const CKVException& e) {
        EXPECT_EQ(CString(u"Невозможно переместить элемент Элемент в другое дерево Второе. "
                          u"Поддерживается только перемещение в рамках одного дерева."),
                  e.GetMessageW());
        EXPECT_EQ(CKVException::FormatCodePos("CElement::ChangeParent", 966), e.GetCodePos());
        EXPECT_EQ(CString(u"CElement::ChangeParent (Line 966)"), e.GetCodePos());
    }
    EXPECT_EQ(u"Элемент", Children(first));
    EXPECT_EQ(u"a1", Children(*a));
    EXPECT_EQ(u"", Children(*target));
    EXPECT_TRUE(LinksHold(&first, &first));
    EXPECT_TRUE(LinksHold(&second, &second));
    EXPECT_THROW(a->ChangeParent(nullptr, false), CKVException);
}

TEST(Element, DeleteFromHierarchyAppendsTheChildren) {
    CElement root(u"root");
    root.AddChild(u"a");
    CElement* middle = root.AddChild(u"m");
    root.AddChild(u"z");
    middle->AddChild(u"m1")->AddChild(u"m11");
    middle->AddChild(u"m2");
    middle->DeleteFromHierarchy();
    EXPECT_EQ(u"a,z,m1,m2", Children(root));
    EXPECT_TRUE(LinksHold(&root, &root));
    root.DeleteFromHierarchy(); // a root stays as it is
    EXPECT_EQ(4, root.GetChildCount());

    root.Delete();
    root.GetChild(u"z")->Delete();
    EXPECT_TRUE(root.DeleteChild(u"m1"));
    EXPECT_FALSE(root.DeleteChild(u"m1"));
    EXPECT_FALSE(root.DeleteChild(&root));
    EXPECT_TRUE(root.DeleteChild(root.GetChild(0)));
    EXPECT_EQ(u"m2", Children(root));
    root.DeleteAllChildren();
    EXPECT_EQ(0, root.GetChildCount());
}

TEST(Element, ReorderingChildren) {
    CElement root(u"root");
    for (const char16_t* name : {u"b", u"B", u"a", u"Я", u"10", u"9"}) root.AddChild(name);
    CElement* a = root.GetChild(u"a");
    a->SetFirstChild();
    EXPECT_EQ(u"a,b,B,Я,10,9", Children(root));
    a->SetFirstChild();
    EXPECT_EQ(u"a,b,B,Я,10,9", Children(root));
    root.GetChild(u"b")->SetLastChild();
    EXPECT_EQ(u"a,B,Я,10,9,b", Children(root));
    EXPECT_TRUE(root.SwapPtr(a, root.GetChild(u"9")));
    EXPECT_EQ(u"9,B,Я,10,a,b", Children(root));
    EXPECT_FALSE(root.SwapPtr(a, nullptr));
    EXPECT_FALSE(root.SwapPtr(a, &root));
    root.SortChildren(); // code units, with case
    EXPECT_EQ(u"10,9,B,a,b,Я", Children(root));
}

TEST(Element, Tags) {
    CElement element(u"e");
    EXPECT_EQ(0, element.GetTag(0));
    element.SetTag(-1, 5);
    EXPECT_EQ(0, element.GetTagsCount());
    element.SetTag(2, 7);
    EXPECT_EQ(3, element.GetTagsCount());
    EXPECT_EQ(7, element.GetTag(2));
    EXPECT_EQ(0, element.GetTag(3));
    element.SetTagsCount(1);
    element.GrowTags(2);
    EXPECT_EQ(0, element.GetTag(1));
    element.SetTagsCount(0);
    EXPECT_EQ(nullptr, element.GetTags());
}

TEST(Element, ParametersAlongTheTree) {
    CElement root(u"root");
    CElement* a = root.AddChild(u"a");
    CElement* leaf = a->AddChild(u"leaf");
    root.SetParameter(u"P", u"root");
    root.SetParameter(u"Q", u"root");
    a->SetParameter(u"p", u"a");
    a->SetParameter(u"blank", u"  ");
    root.SetParameter(u"blank", u"root");

    leaf->InheritParametersFrom(a);
    EXPECT_EQ(CString(u"a"), CString(leaf->GetParameterValue(u"P", u"")));
    EXPECT_EQ(CString(u"root"), CString(leaf->GetParameterValue(u"Q", u"")));
    leaf->InheritParametersFrom(nullptr);

    CString error(u"stale");
    CElement* b = a->AddChild(u"b");
    EXPECT_EQ(a->GetParameter(u"blank"), b->QueryParameterInherited(u"blank", error, false));
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_EQ(root.GetParameter(u"blank"), b->QueryParameterInherited(u"blank", error, true));
    EXPECT_EQ(nullptr, b->QueryParameterInherited(u"none", error, true));
    CElement* owner = nullptr;
    EXPECT_EQ(a->GetParameter(u"P"), a->QueryParameter(u"p", error, owner));
    EXPECT_EQ(a, owner);
}

TEST(Element, ApplyingParametersRenamesAndRecurses) {
    CElement target(u"t"), source(u"s");
    CElement* x = target.AddChild(u"x");
    target.AddChild(u"X");
    CElement* sx = source.AddChild(u"x");
    source.AddChild(u"unmatched")->SetParameter(u"u", u"1");
    source.SetParameter(u"@name", u"renamed");
    source.SetParameter(u"v", u"1");
    sx->SetParameter(u"@NAME", u"x2");
    sx->SetParameter(u"w", u"2");

    target.ApplyParametersRecursive(source);
    EXPECT_EQ(CString(u"renamed"), CString(target.GetName()));
    EXPECT_EQ(nullptr, target.GetParameter(u"@NAME"));
    EXPECT_EQ(CString(u"1"), CString(target.GetParameterValue(u"v", u"")));
    EXPECT_EQ(CString(u"x2"), CString(x->GetName()));
    EXPECT_EQ(CString(u"2"), CString(x->GetParameterValue(u"w", u"")));
    EXPECT_EQ(0, target.GetChild(u"X")->GetParamsCount());
    EXPECT_EQ(2, target.GetChildCount());
}

TEST(Element, StructFilterSteps) {
    CString name(u"stale");
    int position = 0, index = -1;
    EXPECT_TRUE(CElement::GetStructFilter(u"\"a\"(2).rest", position, name, index));
    EXPECT_EQ(CString(u"a"), name);
    EXPECT_EQ(2, index);
    EXPECT_EQ(6, position);
    position = 0;
    EXPECT_FALSE(CElement::GetStructFilter(u"\"a", position, name, index));
    position = 0;
    EXPECT_FALSE(CElement::GetStructFilter(u"(2x)", position, name, index));
    position = 0;
    EXPECT_FALSE(CElement::GetStructFilter(u"(12", position, name, index));
    position = 1;
    EXPECT_TRUE(CElement::GetStructFilter(u"x.y", position, name, index));
    EXPECT_EQ(1, position);
    EXPECT_TRUE(name.IsEmpty());
    EXPECT_EQ(0, index);
}

TEST(Element, CopiesAreExactAndFreeStanding) {
    CElement root(u"root");
    CElement* a = root.AddChild(u"a");
    a->SetParameter(u"p", u"1");
    a->SetTag(1, 9);
    CElement* a1 = a->AddChild(u"a1", 50, 3);
    a1->SetParameter(u"q", u"2");
    root.AddChild(u"b");

    CElement copy(*a);
    EXPECT_EQ(nullptr, copy.GetParent());
    EXPECT_EQ(&copy, copy.GetRoot());
    EXPECT_TRUE(LinksHold(&copy, &copy));
    EXPECT_EQ(a->GetId(), copy.GetId());
    EXPECT_EQ(9, copy.GetTag(1));
    EXPECT_EQ(50, copy.GetChild(0)->GetId());
    EXPECT_EQ(3, copy.GetChild(0)->GetModelUID());
    EXPECT_EQ(52, copy.GetNextElementId()); // the source tree's counter, at b
    EXPECT_TRUE(copy.IsEqualTo(*a));
    copy.GetChild(0)->SetParameter(u"q", u"3");
    EXPECT_FALSE(copy.IsEqualTo(*a));
    CElement::NameList ignored;
    ignored.Add(CString(u"Q"));
    EXPECT_TRUE(copy.IsEqualTo(*a, &ignored));

    // Copying an element's own child or its parent into it is safe.
    CElement other(u"other");
    other = root;
    other.CopyFrom(other.GetChild(0));
    EXPECT_EQ(CString(u"a"), CString(other.GetName()));
    EXPECT_EQ(u"a1", Children(other));
    a1->CopyFrom(a);
    EXPECT_EQ(u"a1", Children(*a1));
    EXPECT_EQ(a1, a1->GetRoot());
    EXPECT_EQ(a, a1->GetParent()); // the parent field stays
}

TEST(ElementUnmanaged, CopiesAreDeepAndOwnTheirParameters) {
    CParamUnmanaged own(u"n", u"v", u"c", u"vc");
    CElementUnmanaged root(u"root");
    root.PushParam(&own); // stays the caller's
    CElementUnmanaged* child = new CElementUnmanaged(u"child", &root);
    EXPECT_EQ(0, root.GetChildren().GetLength());
    root.PushChild(child);
    child->PushParam(&own);

    CElementUnmanaged copy(root);
    ASSERT_EQ(1, copy.GetChildren().GetLength());
    EXPECT_NE(child, copy.GetChildren()[0]);
    EXPECT_EQ(&copy, copy.GetChildren()[0]->GetParent());
    EXPECT_NE(&own, copy.GetParams()[0]);
    EXPECT_EQ(CString(u"vc"), copy.GetParams()[0]->m_strValueComment);

    CElementUnmanaged moved(std::move(copy));
    EXPECT_EQ(1, copy.GetChildren().GetLength()); // a move copies
    copy = *copy.GetChildren()[0];                // from inside its own tree
    EXPECT_EQ(CString(u"child"), copy.GetName());
}
