// Aggregates over arrays: the result of each word, empty sources, distinct
// counts, items returned unchanged, and nested variables read once when the
// formula is compiled.
#include "tests/element/calc/querytest.h"

namespace {

// The type and text of the result on no element.
CString Typed(const char16_t* text) {
    CCompiledFunction f;
    if (!f.Initialize(text, nullptr)) return u"error: " + f.GetLastError();
    f.SetParameters(nullptr);
    VARIANT v;
    VariantInit(&v);
    if (!f.CountVar(v)) return u"error: " + f.GetLastError();
    CString out;
    out.Format(u"%d:%s", int(v.vt), CFunction::AsString(v).GetString());
    VariantClear(&v);
    return out;
}

} // namespace

TEST(Aggregates, EachWordOverAnArray) {
    EXPECT_EQ(CString(u"5:3"), Typed(u"sum(split(\"1,2\", \",\"), item)"));
    EXPECT_EQ(CString(u"5:2"), Typed(u"avg(split(\"1,3\", \",\"), item)"));
    EXPECT_EQ(CString(u"5:1"), Typed(u"findMin(split(\"3,1,2\", \",\"), item)"));
    EXPECT_EQ(CString(u"5:3"), Typed(u"findMax(split(\"3,1,2\", \",\"), item)"));
    EXPECT_EQ(CString(u"8:A"), Typed(u"strMin(split(\"b,A,a\", \",\"), item)"));
    EXPECT_EQ(CString(u"8:b"), Typed(u"strMax(split(\"b,A,a\", \",\"), item)"));
    EXPECT_EQ(CString(u"8:a-b-"), Typed(u"strSum(split(\"a,b\", \",\"), item & \"-\")"));
    EXPECT_EQ(CString(u"11:true"), Typed(u"exists(split(\"1,2\", \",\"), item > 1)"));
    EXPECT_EQ(CString(u"11:false"), Typed(u"exists(split(\"1,2\", \",\"), item > 5)"));
    // For exists, all, first and last the second argument is the condition.
    EXPECT_EQ(CString(u"11:true"), Typed(u"all(split(\"1,2,3\", \",\"), item > 0)"));
    EXPECT_EQ(CString(u"11:false"), Typed(u"all(split(\"1,-2,3\", \",\"), item > 0)"));
    // A value and a condition: only the items that pass are summed.
    EXPECT_EQ(CString(u"5:10"), Typed(u"sum(split(\"1,2,3\", \",\"), item * 2, item > 1)"));
}

TEST(Aggregates, FirstAndLastReturnTheItemItself) {
    EXPECT_EQ(CString(u"8:2"), Typed(u"first(split(\"1,2,3\", \",\"), item > 1)"));
    EXPECT_EQ(CString(u"8:3"), Typed(u"last(split(\"1,2,3\", \",\"), item > 1)"));
    EXPECT_EQ(CString(u"0:"), Typed(u"first(split(\"1,2,3\", \",\"), item > 7)"));
}

TEST(Aggregates, CountCountsPassingItemsOrDistinctValues) {
    EXPECT_EQ(CString(u"3:4"), Typed(u"count(split(\"a,b,a,1\", \",\"), all)"));
    EXPECT_EQ(CString(u"3:3"), Typed(u"count(split(\"a,b,a,1\", \",\"), item)"));
    EXPECT_EQ(CString(u"3:2"), Typed(u"count(split(\"a,b,a,1\", \",\"), all, item <> \"a\")"));
    // Texts and numbers are told apart: "1" and 1 are two values.
    EXPECT_EQ(CString(u"3:2"),
              Typed(u"count(split(\"1,1\", \",\"), if(item = \"1\", item, 0) & \"\")"
                    u" + count(split(\"1\", \",\"), item * 1)"));
    // The word all is matched exactly; ALL is the aggregate word.
    EXPECT_EQ(0, Typed(u"count(split(\"a\", \",\"), ALL)").Find(u"error: "));
}

TEST(Aggregates, EmptySourcesGiveEmptyExceptCount) {
    // split leaves an empty text, not an array: there are no items.
    EXPECT_EQ(CString(u"0:"), Typed(u"sum(split(\"\", \",\"), item)"));
    EXPECT_EQ(CString(u"0:"), Typed(u"findMin(split(\"\", \",\"), item)"));
    EXPECT_EQ(CString(u"0:"), Typed(u"strSum(5, item)"));
    EXPECT_EQ(CString(u"3:0"), Typed(u"count(split(\"\", \",\"), all)"));
    EXPECT_EQ(CString(u"11:true"), Typed(u"all(7, item > 0)"));
    EXPECT_EQ(CString(u"11:false"), Typed(u"exists(7, item > 0)"));
}

TEST(Aggregates, NestedAggregatesAndCopies) {
    EXPECT_EQ(CString(u"5:4"),
              Typed(u"sum(split(\"1,2\", \",\"), count(split(\"a,b\", \",\"), all))"));
    CCompiledFunction f;
    ASSERT_TRUE(f.Initialize(u"sum(split(\"1,2,3\", \",\"), item * 2, item > 1)", nullptr));
    CFunction copy(*f.GetFunction());
    CString out;
    ASSERT_TRUE(copy.Count(out, &f.GetVariables()));
    EXPECT_EQ(CString(u"10"), out);
}

TEST(Aggregates, NestedVariablesAreReadOnceAtCompileTime) {
    CElement root(u"r");
    root.SetParameter(u"K", u"5");
    CElement* child = root.AddChild(u"c");
    CCompiledFunction f;
    ASSERT_TRUE(f.Initialize(u"sum(split(\"1,2\", \",\"), item * K + parent.K * 0)", child));
    CCompiledFunction::NameArray names;
    f.GetRequiredParameters(names);
    EXPECT_EQ(0, names.GetLength()); // nested names are not required
    root.SetParameter(u"K", u"10");
    f.SetParameters(child);
    CString out;
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"15"), out); // K (inherited) was 5 when compiled

    // Compiled with no element, the nested values are never filled.
    CString error;
    EXPECT_EQ(
        0, CCompiledFunction::CountStrS(out, u"sum(split(\"1\", \",\"), item * K)", child, &error));
    EXPECT_EQ(CString(u"Ошибка при вычислении формулы (неопознанная)."), out);
}

namespace {

//  Site (S, level 10) / Bld (B1) / Sect (C, level 29) / Floor (F2, level 28) / Room (R3)
struct Building {
    CElement site{u"Site"};
    CElement* room;

    Building() {
        site.SetParameter(u"CODE", u"S");
        site.SetParameter(u"BUILDINGS_STRUCT_LEVEL", u"10");
        CElement* building = site.AddChild(u"Bld");
        building->SetParameter(u"CODE", u"B1");
        CElement* section = building->AddChild(u"Sect");
        section->SetParameter(u"CODE", u"C");
        section->SetParameter(u"BUILDINGS_STRUCT_LEVEL", u"29");
        CElement* floor = section->AddChild(u"Floor");
        floor->SetParameter(u"CODE", u"F2");
        floor->SetParameter(u"BUILDINGS_STRUCT_LEVEL", u"28");
        room = floor->AddChild(u"Room");
        room->SetParameter(u"CODE", u"R3");
    }

    CString Code(const char16_t* text) {
        CCompiledFunction f;
        if (!f.Initialize(text, room)) return f.GetLastError();
        f.SetParameters(room);
        CString out;
        f.CountStr(out);
        return out;
    }
};

} // namespace

TEST(ClpShortCode, JoinsLevelsTopDownSkippingMarkedLevelsOnce) {
    Building b;
    // Floor (28) is stepped over once, so Sect (29) above it still counts.
    EXPECT_EQ(CString(u"S-B1-C-R3"), b.Code(u"element.clp_short_code(true, CODE, \"-\")"));
    // The separator of the lower level stands before its code.
    EXPECT_EQ(CString(u"S/B1/C.R3"),
              b.Code(u"element.clp_short_code(true, CODE, if(CODE = \"R3\", \".\", \"/\"))"));
    // The walk stops at the first level whose condition is not exactly true.
    EXPECT_EQ(CString(u"C-R3"), b.Code(u"element.clp_short_code(CODE <> \"B1\", CODE, \"-\")"));
    EXPECT_EQ(CString(), b.Code(u"element.clp_short_code(\"yes\", CODE, \"-\")"));
    EXPECT_EQ(CString(u"<S-B1-C-R3>"),
              b.Code(u"\"<\" & element.clp_short_code(true, CODE, \"-\") & \">\""));
}

TEST(ClpShortCode, NeedsTheElementContext) {
    Building b;
    // Without `element.` nothing stands before it: the list cannot start.
    EXPECT_EQ(CString(u"Ошибка при вычислении формулы: Ошибка в последовательности операций."),
              b.Code(u"clp_short_code(true, CODE, \"-\")"));
    CCompiledFunction f;
    EXPECT_FALSE(f.Initialize(u"element.clp_short_code(true, CODE, \"-\")", nullptr));
    EXPECT_NE(-1, f.GetLastError().Find(u"Контекст не определен"));
    EXPECT_FALSE(f.Initialize(u"element.clp_short_code(true, CODE)", b.room));
}

namespace {

// A host collection: its enumerator hands out the numbers 1 to n.
class Numbers : public IEnumVARIANT {
public:
    explicit Numbers(int count) : m_nCount(count) {}
    HRESULT QueryInterface(REFIID riid, void** object) override {
        *object = riid == IID_IEnumVARIANT || riid == IID_IUnknown ? this : nullptr;
        if (*object) AddRef();
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_nRefs; }
    ULONG Release() override {
        const ULONG left = --m_nRefs;
        if (!left) delete this;
        return left;
    }
    HRESULT Next(ULONG, VARIANT* items, ULONG* fetched) override {
        *fetched = 0;
        if (m_nNext >= m_nCount) return S_FALSE;
        items[0].vt = VT_I4;
        items[0].lVal = ++m_nNext;
        *fetched = 1;
        return S_OK;
    }
    HRESULT Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT Reset() override {
        m_nNext = 0;
        return S_OK;
    }
    HRESULT Clone(IEnumVARIANT**) override { return E_NOTIMPL; }

private:
    virtual ~Numbers() = default;
    ULONG m_nRefs = 0;
    int m_nCount;
    int m_nNext = 0;
};

class Collection : public TXFunctionObjects::CFunctionObjectBase {
public:
    explicit Collection(int count) : m_nCount(count) {}
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override {
        *ids = -1;
        return S_OK;
    }
    HRESULT Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                   UINT*) override {
        if (id != DISPID_NEWENUM) return E_FAIL;
        auto* numbers = new Numbers(m_nCount);
        numbers->AddRef();
        result->vt = VT_UNKNOWN;
        result->punkVal = numbers;
        return S_OK;
    }

private:
    int m_nCount;
};

// Refuses to enumerate.
class NotACollection : public Collection {
public:
    NotACollection() : Collection(0) {}
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_FAIL;
    }
};

CString OverThis(TXFunctionObjects::CFunctionObjectBase* object, const char16_t* text) {
    CCompiledFunction f;
    f.SetThisFunctionObject(object);
    if (!f.Initialize(text, nullptr)) return f.GetLastError();
    f.SetParameters(nullptr);
    CString out;
    f.CountStr(out);
    return out;
}

} // namespace

TEST(Aggregates, HostCollectionsAreEnumerated) {
    Collection four(4), none(0);
    EXPECT_EQ(CString(u"10"), OverThis(&four, u"sum(this, item)"));
    EXPECT_EQ(CString(u"3"), OverThis(&four, u"count(this, all, item > 1)"));
    EXPECT_EQ(CString(u"2"), OverThis(&four, u"first(this, item * item > 3)"));
    EXPECT_EQ(CString(u"0"), OverThis(&none, u"count(this, all)"));
    EXPECT_EQ(CString(), OverThis(&none, u"avg(this, item)"));
    NotACollection refusing;
    EXPECT_EQ(CString(u"Ошибка при вычислении формулы: Ошибка при вызове метода."),
              OverThis(&refusing, u"sum(this, item)"));
}
