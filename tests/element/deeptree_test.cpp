// Trees far deeper and wider than any thread's stack could recurse over:
// every walk, copy and deletion must be a loop.
#include <gtest/gtest.h>

#include "tarvex/element/element.h"
#include "tarvex/element/elementunmanaged.h"

namespace {

constexpr int kHuge = 1'000'000;

// A root with a chain of `depth` elements below it; the deepest is returned.
CElement* BuildChain(CElement& root, int depth) {
    CElement* element = &root;
    for (int i = 0; i < depth; ++i) element = element->AddChild(u"n");
    return element;
}

bool CountElement(CElement*, void* data) {
    ++*static_cast<int64_t*>(data);
    return true;
}

int64_t CountAll(CElement& root) {
    int64_t count = 0;
    root.Iterate(CountElement, &count);
    return count;
}

} // namespace

TEST(DeepTree, ChainOfAMillionIsWalkedCopiedAndDeleted) {
    auto* root = new CElement(u"root");
    CElement* deepest = BuildChain(*root, kHuge);
    deepest->SetParameter(u"Mark", u"deep");
    root->SetParameter(u"Inherited", u"top");

    EXPECT_EQ(CountAll(*root), kHuge + 1);
    EXPECT_EQ(root->GetElementById(kHuge), deepest);
    EXPECT_EQ(root->GetChildByModelIdRecursive(7), nullptr);
    EXPECT_EQ(root->FindElementByParameterValue(u"MARK", u"deep", false), deepest);
    CElement::ElementList named;
    root->FindElementsByParameterName(u"mark", named);
    ASSERT_EQ(named.GetLength(), 1);
    EXPECT_EQ(root->QueryChild(u"missing"), nullptr);
    EXPECT_EQ(root->GetElementByName(u"ROOT"), root);

    deepest->SetId(3); // a collision deep down is found and repaired
    EXPECT_FALSE(root->ValidateElementIds());
    EXPECT_EQ(deepest->GetFullId(), kHuge + 1);
    CElement::IdsMap ids;
    root->GetIdsMap(ids);
    EXPECT_EQ(ids.size(), static_cast<size_t>(kHuge + 1));

    deepest->InheritParametersFrom(deepest->GetParent()); // a walk up the whole chain
    EXPECT_NE(deepest->GetParameter(u"Inherited"), nullptr);

    {
        CElement copy(*root);
        EXPECT_TRUE(copy.IsEqualTo(*root));
        EXPECT_EQ(CountAll(copy), kHuge + 1);
        copy.GetElementById(kHuge + 1)->SetParameter(u"Mark", u"changed");
        EXPECT_FALSE(copy.IsEqualTo(*root));
        root->ApplyParametersRecursive(copy); // pairs the chains level by level
        EXPECT_TRUE(copy.IsEqualTo(*root));
    }

    // Copying a tree over itself from below goes through a temporary copy.
    root->CopyFrom(root->GetChild(0));
    EXPECT_EQ(CountAll(*root), kHuge);
    delete root;
}

TEST(DeepTree, AMillionChildrenAreWalkedCopiedAndDeleted) {
    CElement root(u"root");
    for (int i = 0; i < kHuge; ++i) root.AddChild(u"c");
    root.GetChild(int64_t{kHuge - 1})->SetModelUID(42);
    EXPECT_EQ(CountAll(root), kHuge + 1);
    EXPECT_EQ(root.GetChildByModelIdRecursive(42), root.GetChild(int64_t{kHuge - 1}));
    EXPECT_TRUE(root.ValidateElementIds());

    CElement copy(root);
    EXPECT_TRUE(copy.IsEqualTo(root));
    copy.DeleteAllChildren();
    EXPECT_EQ(copy.GetChildCount(), 0);
}

TEST(DeepTree, UnmanagedChainCopiesAndDeletes) {
    auto* top = new CElementUnmanaged(u"top");
    CElementUnmanaged* element = top;
    for (int i = 0; i < kHuge; ++i) {
        auto* child = new CElementUnmanaged(u"n", element);
        element->PushChild(child);
        element = child;
    }
    CElementUnmanaged copy(*top);
    delete top;
    int depth = 0;
    for (const CElementUnmanaged* e = &copy; e->GetChildren().GetLength(); e = e->GetChildren()[0])
        ++depth;
    EXPECT_EQ(depth, kHuge);
}
