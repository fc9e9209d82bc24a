#include <gtest/gtest.h>

#include <string>

#include "plugintest.h"
#include "tarvex/plugin/elementimpl.h"

using namespace TarvexData;

namespace {

// An element made by the factory, with the tree behind it.
struct Tree {
    explicit Tree(const char16_t* name) {
        EXPECT_EQ(Factory().CreateElement(&wrapper, name), S_OK);
        root = ConvertToCElement(wrapper);
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    ~Tree() { wrapper->Release(); }
    IElement* wrapper = nullptr;
    CElement* root = nullptr;
};

// "name(child,child)" in pre-order.
std::u16string Shape(const CElement& element) {
    std::u16string out = element.GetName();
    if (element.GetChildCount() == 0) return out;
    out += u'(';
    for (std::int64_t i = 0; i < element.GetChildCount(); ++i) {
        if (i) out += u',';
        out += Shape(*element.GetChild(i));
    }
    return out + u')';
}

std::u16string Value(const CElement& element, const char16_t* name) {
    return element.GetParameterValue(name, u"-");
}

} // namespace

TEST(PluginTreeOps, MergePairsChildrenByNameInOrder) {
    Tree target(u"R");
    CElement* a1 = target.root->AddChild(u"A");
    a1->SetParameter(u"X", u"1");
    CElement* a2 = target.root->AddChild(u"a");
    target.root->AddChild(u"B")->SetParameter(u"K", u"keep");

    Tree source(u"S");
    CElement* s1 = source.root->AddChild(u"A");
    s1->SetParameter(u"X", u"2");
    s1->SetParameter(u"Y", u"3");
    s1->AddChild(u"Deep");
    source.root->AddChild(u"A")->SetParameter(u"Z", u"9");
    source.root->AddChild(u"C");

    target.wrapper->Merge(source.wrapper, false, false, false);
    EXPECT_EQ(Shape(*target.root), u"R(A(Deep),a,B,C)");
    EXPECT_EQ(Value(*a1, u"X"), u"2");
    EXPECT_EQ(Value(*a1, u"Y"), u"3");
    EXPECT_EQ(Value(*a2, u"Z"), u"9");
    EXPECT_EQ(Value(*target.root->GetChild(2), u"K"), u"keep");
    EXPECT_TRUE(target.root->ValidateElementIds());

    // Keeping existing values, the second merge changes nothing it holds;
    // taking the name renames the paired children to the source's case.
    a1->SetParameter(u"X", u"1");
    target.wrapper->Merge(source.wrapper, false, true, true);
    EXPECT_EQ(Value(*a1, u"X"), u"1");
    EXPECT_EQ(Shape(*target.root), u"S(A(Deep),A,B,C)");
}

TEST(PluginTreeOps, MergeWithItselfOrADescendantIsSafe) {
    Tree tree(u"R");
    CElement* a = tree.root->AddChild(u"A");
    a->AddChild(u"B")->SetParameter(u"P", u"1");
    tree.wrapper->Merge(tree.wrapper, true, false, true);
    EXPECT_EQ(Shape(*tree.root), u"R(A(B))");

    IElement* child = nullptr;
    ASSERT_TRUE(tree.wrapper->GetChild(u"A", &child));
    // The root merged into its own child: the child gains the root's child.
    child->Merge(tree.wrapper, false, false, false);
    child->Release();
    EXPECT_EQ(Shape(*tree.root), u"R(A(B,A(B)))");
}

TEST(PluginTreeOps, AddChildCopyOfAnAncestorCopiesItAsItWas) {
    Tree tree(u"R");
    CElement* a = tree.root->AddChild(u"A");
    a->SetModelUID(42);
    a->SetTag(1, 7);
    a->AddChild(u"B")->SetParameter(u"P", u"п");

    IElement* child = nullptr;
    ASSERT_TRUE(tree.wrapper->GetChild(u"A", &child));
    IElement* copy = nullptr;
    child->AddChildCopy(tree.wrapper, &copy);
    child->Release();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(Shape(*tree.root), u"R(A(B,R(A(B))))");

    const CElement* copied = ConvertToCElement(copy)->GetChild(std::int64_t{0});
    EXPECT_EQ(copied->GetModelUID(), 42);
    EXPECT_EQ(copied->GetTag(1), 7);
    EXPECT_EQ(Value(*copied->GetChild(std::int64_t{0}), u"P"), u"п");
    EXPECT_TRUE(tree.root->ValidateElementIds());
    copy->Release();
}

TEST(PluginTreeOps, CopyChildrenFromADescendantReplacesTheChildren) {
    Tree tree(u"R");
    CElement* a = tree.root->AddChild(u"A");
    CElement* b = a->AddChild(u"B");
    b->SetTag(0, 5);
    b->SetModelUID(3);
    b->AddChild(u"C")->SetParameter(u"Q", u"1");

    IElement* child = nullptr;
    ASSERT_TRUE(tree.wrapper->GetChild(u"A", &child));
    tree.wrapper->CopyChildrenFrom(child);
    child->Release();
    EXPECT_EQ(Shape(*tree.root), u"R(B(C))");
    const CElement* copied = tree.root->GetChild(std::int64_t{0});
    EXPECT_EQ(copied->GetModelUID(), 3);
    EXPECT_EQ(copied->GetTagsCount(), 0);
    EXPECT_EQ(Value(*copied->GetChild(std::int64_t{0}), u"Q"), u"1");
}

TEST(PluginTreeOps, ValuesAreCalculatedOnRequest) {
    Tree tree(u"R");
    tree.root->SetParameter(u"A", u"2");
    tree.root->SetParameter(u"F", u"stale", nullptr, u"=A*3");
    tree.root->SetParameter(u"E", u"stale", nullptr, u"=A+");
    tree.root->SetParameter(u"T", u"abc");
    IElement& element = *tree.wrapper;

    EXPECT_EQ(element.GetParameterValueEx(u"F", -1.0), 6.0);
    EXPECT_EQ(element.GetParameterValueEx(u"F", -1), 6);
    EXPECT_EQ(element.GetParameterValueEx(u"E", 7), 7);
    EXPECT_EQ(element.GetParameterValueEx(u"missing", 1.5), 1.5);
    EXPECT_EQ(element.GetParameterValueEx(u"T", 9), 0);

    ScopedBstr text;
    EXPECT_TRUE(element.GetParameterValueEx(u"F", &text.p, u"def", false));
    EXPECT_EQ(text.Text(), u"stale");
    // A failing formula gives its error text as the value.
    EXPECT_TRUE(element.GetParameterValueEx(u"E", &text.p, u"def", true));
    EXPECT_NE(text.Text(), u"def");
    EXPECT_NE(text.Text(), u"stale");
    EXPECT_FALSE(text.Text().empty());
    EXPECT_FALSE(element.GetParameterValueEx(u"missing", &text.p, u"def", true));
    EXPECT_EQ(text.Text(), u"def");
    // Asking does not store.
    EXPECT_EQ(Value(*tree.root, u"F"), u"stale");
}

TEST(PluginTreeOps, CalculationCoversTheWholeTreeInDependencyOrder) {
    Tree tree(u"R");
    CElement* child = tree.root->AddChild(u"C");
    // Sorted by name, each formula comes before the one it reads.
    child->SetParameter(u"A", u"", nullptr, u"=B*2");
    child->SetParameter(u"B", u"", nullptr, u"=C*2");
    child->SetParameter(u"C", u"", nullptr, u"=D*2");
    child->SetParameter(u"D", u"5");

    IElement* wrapper = nullptr;
    ASSERT_TRUE(tree.wrapper->GetChild(u"C", &wrapper));
    wrapper->CalculateParameters(); // from a child, still the whole tree
    wrapper->Release();
    EXPECT_EQ(Value(*child, u"A"), u"40");
    EXPECT_EQ(Value(*child, u"C"), u"10");
}

TEST(PluginTreeOps, DocumentsRoundTripThroughTheInterface) {
    Tree tree(u"Схема");
    tree.root->AddChild(u"Узел")->SetParameter(u"Тип", u"клапан");
    ScopedBstr xml;
    ASSERT_TRUE(tree.wrapper->WriteToXML(&xml.p));

    Tree copy(u"x");
    ASSERT_TRUE(copy.wrapper->ReadFromXML(xml.p));
    EXPECT_TRUE(copy.root->IsEqualTo(*tree.root));
    EXPECT_FALSE(copy.wrapper->ReadFromXML(u"<bad"));
}
