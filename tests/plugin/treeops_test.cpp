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

// The tree operations themselves are the element's; these check that each
// wrapper call reaches the right elements, including sources in the same tree.
TEST(PluginTreeOps, CopiesAndMergesReachTheTree) {
    Tree tree(u"R");
    CElement* a = tree.root->AddChild(u"A");
    a->SetTag(1, 7);
    a->AddChild(u"B")->SetParameter(u"P", u"п");

    IElement* child = nullptr;
    ASSERT_TRUE(tree.wrapper->GetChild(u"A", &child));
    IElement* copy = nullptr;
    child->AddChildCopy(tree.wrapper, &copy);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(Shape(*tree.root), u"R(A(B,R(A(B))))");
    EXPECT_EQ(ConvertToCElement(copy)->GetChild(std::int64_t{0})->GetTag(1), 7);
    EXPECT_TRUE(tree.root->ValidateElementIds());
    copy->Release();

    Tree other(u"S");
    other.root->AddChild(u"b")->SetParameter(u"X", u"1");
    other.root->AddChild(u"C");
    child->Merge(other.wrapper, false, false, true);
    EXPECT_EQ(Shape(*tree.root), u"R(S(b,R(A(B)),C))");
    EXPECT_EQ(Value(*a->GetChild(std::int64_t{0}), u"X"), u"1");

    tree.wrapper->CopyChildrenFrom(child);
    child->Release(); // a borrowed wrapper: its element is already gone
    EXPECT_EQ(Shape(*tree.root), u"R(b,R(A(B)),C)");
    EXPECT_EQ(Value(*tree.root->GetChild(std::int64_t{0}), u"P"), u"п");
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
