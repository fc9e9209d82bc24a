#include <vector>

#include "tarvex/core/hostui.h"
#include "tarvex/dictionary/dblink.h"
#include "tarvex/element/element.h"
#include "tarvex/forms/hlist.h"
#include "tests/forms/formstest.h"

namespace {

std::vector<CString> boxes;
int Record(const char16_t* text, const char16_t*, UINT type) {
    boxes.push_back(text);
    EXPECT_EQ(type & MB_ICONSTOP, MB_ICONSTOP);
    return 1;
}

class HListTest : public ::testing::Test {
protected:
    void SetUp() override {
        boxes.clear();
        tarvex::SetMessageBoxCallback(Record);
    }
    void TearDown() override { tarvex::SetMessageBoxCallback(nullptr); }

    static void ExpectFailure(const char16_t* text, const char16_t* reason, int position) {
        CHierarchicalListController list(text);
        EXPECT_FALSE(list.Init(false)) << N(text);
        EXPECT_EQ(list.GetLastError(), CString(reason)) << N(text);
        EXPECT_EQ(list.GetLastErrorPosition(), position) << N(text);
    }
};

TEST_F(HListTest, ParsesAllFieldsAndWritesThemBack) {
    CHierarchicalListController list(u"@HList( {A} : {B} ,[NAME],X;Y)");
    ASSERT_TRUE(list.Init(true));
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(CString(list.GetSourceGuid()), CString(u"A"));
    EXPECT_EQ(CString(list.GetSelectedItemGuid()), CString(u"B"));
    EXPECT_EQ(CString(list.GetItemNameFormula()), CString(u"[NAME]"));
    EXPECT_EQ(CString(list.GetParamTransfersPsz()), CString(u"X;Y"));
    CString text;
    list.GetNewValueComment(text);
    EXPECT_EQ(text, CString(u"@HList({A}:{B},[NAME],X;Y)"));

    // The written text parses to the same fields.
    CHierarchicalListController again(text);
    ASSERT_TRUE(again.Init(false));
    EXPECT_EQ(CString(again.GetSelectedItemGuid()), CString(u"B"));

    list.SetSourceGuid(u" {C} ");
    EXPECT_EQ(CString(list.GetSourceGuid()), CString(u"C"));
    EXPECT_EQ(CString(list.GetItemNameFormula()), CString(u""));
    list.SetItemNameFormula(u"f");
    list.SetParamTransfers(u"P;Q");
    list.GetNewValueComment(text);
    EXPECT_EQ(text, CString(u"@HList({C},f,P;Q)"));
}

TEST_F(HListTest, PlaceholdersBeforeInitAndNothingWithoutASource) {
    CHierarchicalListController list(u"@HList(A,b,c)");
    CString text(u"untouched");
    list.SetSourceGuid(u"X"); // before Init: ignored
    list.GetNewValueComment(text);
    EXPECT_EQ(text, CString(u"@HList([GUID справочника],[Формула элемента списка],"
                            u"[Инструкции перемещения])"));
    ASSERT_TRUE(list.Init(false));
    list.SetSourceGuid(u"{}");
    text = u"untouched";
    list.GetNewValueComment(text);
    EXPECT_EQ(text, CString(u"untouched"));
}

TEST_F(HListTest, FailuresGiveTheReasonAndPosition) {
    CHierarchicalListController list(u"HList(a,b,c)");
    EXPECT_FALSE(list.Init(true));
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0], CString(u"Не найден идентификатор списка \"@\". Символ 0."));

    ExpectFailure(u"", u"Не найден идентификатор списка \"@\"", 0);
    ExpectFailure(u"@", u"Нарушена целостность выражения", 1);
    ExpectFailure(u" @ x", u"Нарушена целостность выражения", 2);
    ExpectFailure(u"@HList a", u"Отсутствует открывающая скобка \"(\"", 6);
    ExpectFailure(u"@HList(,b,c)", u"Отсутствует аргумент функции", 7);
    ExpectFailure(u"@HList(a:,b,c)", u"Отсутствует аргумент функции", 9);
    ExpectFailure(u"@HList(a,b)", u"Отсутствует разделитель \",\"", 10);
    ExpectFailure(u"@HList(a,b,c", u"Отсутствует закрывающая скобка \")\"", 12);
    ExpectFailure(u"@HList(a,b,c) x", u"Нарушена целостность выражения", 13);
    // The word is found inside free text too.
    ExpectFailure(u"@HList(a,MyHListName,c)", u"Отсутствует разделитель \",\"", 11);
    // Brackets pair first with last, not by nesting.
    ExpectFailure(u"@HList(a(b),c,d(e))", u"Отсутствует разделитель \",\"", 18);
    EXPECT_EQ(boxes.size(), 1u); // only when asked
}

TEST_F(HListTest, BracketsInsideAnArgumentStayText) {
    CHierarchicalListController list(u"@HList(a,max(1,(2)),c)");
    ASSERT_TRUE(list.Init(false));
    EXPECT_EQ(CString(list.GetItemNameFormula()), CString(u"max(1,(2))"));
    EXPECT_EQ(CString(list.GetParamTransfersPsz()), CString(u"c"));
    // Unbalanced brackets stay within the tokens.
    for (const char16_t* text : {u"@HList((((", u"@HList))))(", u")(@HList(a,b,c)", u"((()"}) {
        CHierarchicalListController odd(text);
        EXPECT_FALSE(odd.Init(false)) << N(text);
    }
}

TEST_F(HListTest, TransfersSplitAtSemicolonsKeepingEmptyOnes) {
    CHierarchicalListController list(u"@HList(a,b, X ; Y;)");
    ASSERT_TRUE(list.Init(false));
    CIndirectArray<CString> names;
    list.GetParamTransfers(names);
    ASSERT_EQ(names.GetLength(), 3);
    EXPECT_EQ(*names[0], CString(u"X"));
    EXPECT_EQ(*names[1], CString(u"Y"));
    EXPECT_TRUE(names[2]->IsEmpty());
    CIndirectArray<CHListNode> items;
    EXPECT_FALSE(list.GetListItems(items)); // three is not pairs
}

// root -> E1 (no uid) -> E2 (uid g, X=5) ; root -> E3 (uid h) -> E4 (uid i)
CElement* SourceTree() {
    auto* root = new CElement(u"ROOT");
    CElement* e1 = root->AddChild(u"E1");
    CElement* e2 = e1->AddChild(u"E2");
    e2->SetParameter(u"SYS_DB_UID", u"g");
    e2->SetParameter(u"X", u"5");
    e2->SetParameter(u"TITLE", u"Второй");
    CElement* e3 = root->AddChild(u"E3");
    e3->SetParameter(u"SYS_DB_UID", u"h");
    e3->SetParameter(u"TITLE", u"");
    CElement* e4 = e3->AddChild(u"E4");
    e4->SetParameter(u"SYS_DB_UID", u"i");
    e4->SetParameter(u"TITLE", u"Четвёртый");
    return root;
}

void ExpectTree(const CIndirectArray<CHListNode>& items) {
    ASSERT_EQ(items.GetLength(), 2);
    // E1 gives no node, but its child is still reached and goes to the top.
    EXPECT_EQ(items[0]->GetGuid(), CString(u"g"));
    EXPECT_EQ(items[0]->GetName(), CString(u"Второй"));
    ASSERT_EQ(items[0]->GetParamTrensfers().GetLength(), 1);
    const CParamTransfer& t = *items[0]->GetParamTrensfers()[0];
    EXPECT_EQ(t.sourceName, CString(u"X"));
    EXPECT_EQ(t.targetName, CString(u"Y"));
    EXPECT_EQ(t.value, CString(u"5"));
    // An empty result takes the element's name.
    EXPECT_EQ(items[1]->GetName(), CString(u"E3"));
    EXPECT_EQ(items[1]->GetParamTrensfers().GetLength(), 0);
    ASSERT_EQ(items[1]->GetChildren().GetLength(), 1);
    EXPECT_EQ(items[1]->GetChildren()[0]->GetName(), CString(u"Четвёртый"));
}

TEST_F(HListTest, ItemsFromAnElementDocument) {
    std::unique_ptr<CElement> root(SourceTree());
    CString xml;
    ASSERT_TRUE(root->WriteToXML(xml));
    CHierarchicalListController list(u"@HList(S,[TITLE],X;Y)");
    ASSERT_TRUE(list.Init(false));
    ASSERT_TRUE(list.OnDataCollect(xml));
    CIndirectArray<CHListNode> items;
    ASSERT_TRUE(list.GetListItems(items));
    ExpectTree(items);
    EXPECT_FALSE(list.OnDataCollect(CString(u"<not xml")));
    EXPECT_EQ(list.GetSource(), nullptr);
}

class TestLink : public CDBLink {
public:
    bool IsConnected() const override { return true; }
    CParamDefs* GetParamDefs() override { return &defs; }
    const CElement* GetObjectElement(const char16_t* guid) override {
        asked = guid;
        return CString(guid) == CString(u"S") ? tree.get() : nullptr;
    }
    CParamDefs defs;
    std::unique_ptr<CElement> tree{SourceTree()};
    CString asked;
};

TEST_F(HListTest, ItemsFromALinkWithExtendedDefinitions) {
    TestLink link;
    link.defs.AddParam(u"X", u"Икс");
    CHierarchicalListController list(u"@HList({S},[TITLE],X;Y)");
    EXPECT_FALSE(list.OnDataCollect(&link)); // not parsed yet
    ASSERT_TRUE(list.Init(false));
    ASSERT_TRUE(list.OnDataCollect(&link));
    EXPECT_EQ(link.asked, CString(u"S"));
    ASSERT_NE(list.GetExtendedParam(u"x"), nullptr);
    EXPECT_EQ(list.GetExtendedParam(u"Y"), nullptr);
    link.tree.reset(); // the list keeps its own copy
    CIndirectArray<CHListNode> items;
    ASSERT_TRUE(list.GetListItems(items));
    ExpectTree(items);

    list.SetSourceGuid(u"unknown");
    EXPECT_FALSE(list.OnDataCollect(&link));
}

TEST_F(HListTest, FailingFormulaGivesNoNodeButTheWalkGoesOn) {
    std::unique_ptr<CElement> root(SourceTree());
    CString xml;
    ASSERT_TRUE(root->WriteToXML(xml));
    CHierarchicalListController list(u"@HList(S,1 +,X;Y)");
    ASSERT_TRUE(list.Init(false));
    ASSERT_TRUE(list.OnDataCollect(xml));
    CIndirectArray<CHListNode> items;
    EXPECT_TRUE(list.GetListItems(items));
    EXPECT_EQ(items.GetLength(), 0);
}

} // namespace
