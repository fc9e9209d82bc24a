#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "foreignelement.h"
#include "plugintest.h"
#include "tarvex/core/paths.h"
#include "tarvex/plugin/elementimpl.h"
#include "tarvex/plugin/paramdefimpl.h"
#include "tarvex/plugin/paramdefsimpl.h"
#include "tarvex/plugin/paramimpl.h"

using namespace TarvexData;

namespace {

// Objects that report their destruction.
struct ProbeParam : CParam {
    explicit ProbeParam(bool* deleted) : deleted(deleted) {}
    ~ProbeParam() override { *deleted = true; }
    bool* deleted;
};

struct ProbeElement : CElement {
    explicit ProbeElement(bool* deleted) : CElement(u"probe"), deleted(deleted) {}
    ~ProbeElement() override { *deleted = true; }
    bool* deleted;
};

// Takes over the single reference of a handed-out interface.
template <class T>
CComPtr<T> Adopt(T* p) {
    CComPtr<T> owned;
    owned.Attach(p);
    return owned;
}

CComPtr<IElement> NewElement(const char16_t* name) {
    IElement* element = nullptr;
    EXPECT_EQ(Factory().CreateElement(&element, name), S_OK);
    return Adopt(element);
}

} // namespace

TEST(PluginFactory, VersionAndNullResults) {
    int major = 0, minor = 0;
    EXPECT_EQ(Factory().GetApiVersion(&major, &minor), S_OK);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 9);
    EXPECT_EQ(Factory().GetApiVersion(nullptr, &minor), E_INVALIDARG);

    EXPECT_EQ(Factory().CreateParam(nullptr, u"a", u"1", nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(Factory().CreateElement(nullptr, u"a"), E_INVALIDARG);
    EXPECT_EQ(Factory().CreateParamDef(nullptr, u"a", u"", 5, false, -1, 0), E_INVALIDARG);
    EXPECT_EQ(Factory().CreateParamDefs(nullptr), E_INVALIDARG);
    EXPECT_EQ(Factory().GetGlobalParamDefs(nullptr), E_INVALIDARG);
    EXPECT_EQ(Factory().GetMainAppKey(nullptr), E_INVALIDARG);
    EXPECT_EQ(TarvexGetPluginFactory(), &Factory());
}

TEST(PluginFactory, CreatedObjectsCarryTheirArguments) {
    IParamDef* def = nullptr;
    ASSERT_EQ(Factory().CreateParamDef(&def, u"Длина", u"мм", 2, true, 7, 3), S_OK);
    auto* impl = dynamic_cast<CIParamDefImpl*>(def);
    ASSERT_NE(impl, nullptr);
    EXPECT_EQ(impl->GetDef()->GetAccuracy(), -1);
    EXPECT_EQ(impl->GetDef()->GetValueType(), 1);
    EXPECT_EQ(def->GetPrescision(), 7);
    EXPECT_EQ(def->GetDependency(), 3);
    EXPECT_TRUE(def->GetReadOnlyFlag());
    EXPECT_EQ(def->GetType(), 2);
    EXPECT_EQ(def->Release(), 0u);

    IParam* param = nullptr;
    ASSERT_EQ(Factory().CreateParam(&param, u"name", u"value", u"comment", u"=1"), S_OK);
    EXPECT_EQ(std::u16string(param->GetComment()), u"comment");
    EXPECT_EQ(std::u16string(param->GetValueComment()), u"=1");
    EXPECT_EQ(param->Release(), 0u);
}

TEST(PluginFactory, GlobalDictionaryIsNotOwned) {
    CParamDefs* global = nullptr;
    GetGlobalParamDefs(global, false);
    IParamDefs* defs = nullptr;
    ASSERT_EQ(Factory().GetGlobalParamDefs(&defs), S_OK);
    EXPECT_EQ(dynamic_cast<CIParamDefsImpl*>(defs)->GetDefs(), global);
    EXPECT_EQ(defs->Release(), 0u);
    // Still usable: the release did not delete the process-wide instance.
    EXPECT_GE(global->GetCount(), 0);
}

TEST(PluginFactory, MainAppKeyReusesTheCallersString) {
    ScopedBstr key(u"a previous text much longer than any key is likely to be");
    ASSERT_EQ(Factory().GetMainAppKey(&key.p), S_OK);
    EXPECT_EQ(key.Text(), std::u16string(GetMainAppKey().View()));
}

TEST(PluginRefCount, QueryInterfaceRefusesEveryInterface) {
    CComPtr<IElement> element = NewElement(u"e");
    IParam* param = nullptr;
    ASSERT_EQ(Factory().CreateParam(&param, u"p", u"", nullptr, nullptr), S_OK);
    CComPtr<IParam> paramOwner = Adopt(param);
    IParamDefs* defs = nullptr;
    ASSERT_EQ(Factory().CreateParamDefs(&defs), S_OK);
    CComPtr<IParamDefs> defsOwner = Adopt(defs);

    const IID someIid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};
    IUnknown* objects[] = {element, param, defs};
    for (IUnknown* object : objects) {
        for (const IID& iid : {IID_IUnknown, IID_IDispatch, someIid, IID_NULL}) {
            void* out = object;
            EXPECT_EQ(object->QueryInterface(iid, &out), static_cast<HRESULT>(0x80004001u));
            EXPECT_EQ(out, nullptr);
        }
    }
    // The count did not move.
    EXPECT_EQ(element->AddRef(), 2u);
    EXPECT_EQ(element->Release(), 1u);
}

TEST(PluginRefCount, StartsAtZeroAndDeletesAtZeroOnlyWhenOwning) {
    bool deleted = false;
    IParam* owning = new CIParamImpl(new ProbeParam(&deleted), true);
    EXPECT_EQ(owning->AddRef(), 1u);
    EXPECT_EQ(owning->AddRef(), 2u);
    EXPECT_EQ(owning->Release(), 1u);
    EXPECT_FALSE(deleted);
    EXPECT_EQ(owning->Release(), 0u);
    EXPECT_TRUE(deleted);

    deleted = false;
    ProbeParam kept(&deleted);
    IParam* borrowing = new CIParamImpl(&kept, false);
    borrowing->AddRef();
    EXPECT_EQ(borrowing->Release(), 0u);
    EXPECT_FALSE(deleted);

    bool elementDeleted = false;
    IElement* element = new CIElementImpl(new ProbeElement(&elementDeleted), true);
    element->AddRef();
    element->Release();
    EXPECT_TRUE(elementDeleted);
}

// Plug-ins call through the interface pointer with no adjustment: it must be
// the object's own address.
template <class Interface, class Impl>
void ExpectInterfaceAtObjectAddress(Impl* impl) {
    Interface* face = impl;
    EXPECT_EQ(static_cast<void*>(face), static_cast<void*>(impl));
    face->AddRef();
    face->Release();
}

TEST(PluginRefCount, InterfacePointerIsTheObjectsAddress) {
    CParam param;
    CElement element;
    CParamDef def;
    ExpectInterfaceAtObjectAddress<IParam>(new CIParamImpl(&param, false));
    ExpectInterfaceAtObjectAddress<IParamsOwner>(new CIParamsOwnerImpl(&element, false));
    ExpectInterfaceAtObjectAddress<IElement>(new CIElementImpl(&element, false));
    ExpectInterfaceAtObjectAddress<IParamsOwner>(new CIElementImpl(&element, false));
    ExpectInterfaceAtObjectAddress<IParamDef>(new CIParamDefImpl(&def, false));
    ExpectInterfaceAtObjectAddress<IParamDefs>(new CIParamDefsImpl(new CParamDefs, true));
}

TEST(PluginRefCount, ReleasesFromManyThreadsDeleteOnce) {
    bool deleted = false;
    IParam* param = new CIParamImpl(new ProbeParam(&deleted), true);
    constexpr int kThreads = 4, kEach = 2000;
    for (int i = 0; i < kThreads * kEach; ++i) param->AddRef();
    std::atomic<int> zeros{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i)
                if (param->Release() == 0) ++zeros;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(zeros.load(), 1);
    EXPECT_TRUE(deleted);
}

TEST(PluginHandOut, EachCallGivesAFreshWrapperThatDoesNotOwn) {
    CComPtr<IElement> root = NewElement(u"root");
    IElement* added = nullptr;
    root->AddChild(u"child", &added);
    ASSERT_NE(added, nullptr);
    added->SetParameter(u"A", 5);
    EXPECT_EQ(added->Release(), 0u);

    IElement* first = nullptr;
    IElement* second = nullptr;
    ASSERT_TRUE(root->GetChild(u"child", &first));
    ASSERT_TRUE(root->GetChild(std::int64_t{0}, &second));
    EXPECT_NE(first, second);
    EXPECT_EQ(ConvertToCElement(first), ConvertToCElement(second));
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(second->Release(), 0u);

    // The child outlived both wrappers.
    CElement* tree = ConvertToCElement(root);
    ASSERT_EQ(tree->GetChildCount(), 1);
    EXPECT_EQ(tree->GetChild(0)->GetParameterValue(u"A", 0), 5);

    IParam* param = nullptr;
    IElement* child = nullptr;
    ASSERT_TRUE(root->GetChild(std::int64_t{0}, &child));
    ASSERT_TRUE(child->GetParameter(u"a", &param));
    param->SetValue(u"6");
    param->Release();
    child->Release();
    EXPECT_EQ(tree->GetChild(0)->GetParameterValue(u"A", 0), 6);
}

TEST(PluginHandOut, MissesGiveFalseAndNull) {
    CComPtr<IElement> root = NewElement(u"root");
    IElement* added = nullptr;
    root->AddChild(u"child", &added);
    added->Release();

    IElement* sentinel = reinterpret_cast<IElement*>(&added);
    IElement* out = sentinel;
    EXPECT_FALSE(root->GetChild(u"CHILD", &out));
    EXPECT_EQ(out, nullptr);
    out = sentinel;
    EXPECT_TRUE(root->GetChildNoCase(u"CHILD", &out));
    out->Release();
    for (std::int64_t index : {std::int64_t{-1}, std::int64_t{1}, std::int64_t{1} << 40}) {
        out = sentinel;
        EXPECT_FALSE(root->GetChild(index, &out));
        EXPECT_EQ(out, nullptr);
    }
    out = sentinel;
    EXPECT_FALSE(root->GetParent(&out));
    EXPECT_EQ(out, nullptr);

    IParam* param = reinterpret_cast<IParam*>(&added);
    EXPECT_FALSE(root->GetParameter(std::int64_t{0}, &param));
    EXPECT_EQ(param, nullptr);
}

TEST(PluginHandOut, ClonesOwnTheirCopies) {
    CComPtr<IElement> root = NewElement(u"root");
    root->SetParameter(u"A", u"1");
    IElement* clone = nullptr;
    root->Clone(&clone);
    clone->SetParameter(u"A", u"2");
    EXPECT_EQ(std::u16string(root->GetParameterValue(u"A", u"")), u"1");
    EXPECT_NE(ConvertToCElement(clone), ConvertToCElement(root));
    EXPECT_EQ(ConvertToCElement(clone)->GetParent(), nullptr);

    IParamsOwner* asOwner = nullptr;
    static_cast<IParamsOwner*>(clone)->Clone(&asOwner);
    // An element's owner clone is still an element.
    EXPECT_EQ(std::u16string(ConvertToCElement(static_cast<IElement*>(asOwner))->GetName()),
              u"root");
    EXPECT_EQ(asOwner->Release(), 0u);
    EXPECT_EQ(clone->Release(), 0u);
}

TEST(PluginBstr, OutputsReuseTheCallersString) {
    IParam* param = nullptr;
    ASSERT_EQ(Factory().CreateParam(&param, u"Марка", u"НД-100", nullptr, nullptr), S_OK);
    CComPtr<IParam> owner = Adopt(param);

    ScopedBstr text(u"a previous string, longer than the value");
    param->GetValue(&text.p);
    EXPECT_EQ(text.Text(), u"НД-100");
    EXPECT_EQ(std::u16string(param->GetUpperName()), u"МАРКА");

    CComPtr<IElement> element = NewElement(u"e");
    element->SetParameter(u"Марка", u"");
    element->GetValue(u"марка", &text.p);
    EXPECT_EQ(text.Text(), u"");
    // A miss leaves the string as it was.
    ScopedBstr kept(u"kept");
    BSTR before = kept.p;
    EXPECT_FALSE(element->GetValue(u"missing", &kept.p));
    EXPECT_EQ(kept.p, before);
    EXPECT_EQ(kept.Text(), u"kept");

    _GUID guid = {0x0123abcd, 0x4567, 0x89ef, {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}};
    element->FormatUID(guid, &text.p);
    EXPECT_EQ(text.Text(), u"{0123ABCD-4567-89EF-FEDC-BA9876543210}");
}

TEST(PluginArguments, NullPointersNameTheArgument) {
    CComPtr<IElement> element = NewElement(u"e");
    IParam* param = nullptr;
    ASSERT_EQ(Factory().CreateParam(&param, u"p", u"", nullptr, nullptr), S_OK);
    CComPtr<IParam> paramOwner = Adopt(param);

    EXPECT_EQ(ThrownMessage([&] { param->GetValue(nullptr); }),
              u"Expression \"pStrDest\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { element->GetValue(u"p", static_cast<BSTR*>(nullptr)); }),
              u"Expression \"pStrDest\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { element->AddParameter(u"p", u"", u"", u"", nullptr); }),
              u"Expression \"pResParam\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { element->AddChild(u"c", nullptr); }),
              u"Expression \"pResElement\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { element->ApplyParameters(nullptr); }),
              u"Expression \"pOwner\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { param->AssignValue(nullptr); }),
              u"Expression \"pParam\" can''t be NULL");
    EXPECT_EQ(element->GetChildCount(), 0);

    try {
        element->AddChild(u"c", nullptr);
    } catch (const CKVException& e) {
        EXPECT_TRUE(e.GetCodePos().Find(u"CIElementImpl::AddChild (Line ") == 0) << e.GetCodePos();
    }
}

TEST(PluginArguments, DownCastsRefuseOtherImplementations) {
    CComPtr<IElement> element = NewElement(u"e");
    CComPtr<IElement> other = NewElement(u"o");
    ForeignElement foreign;
    CComPtr<IParamsOwner> owner(
        static_cast<IParamsOwner*>(new CIParamsOwnerImpl(new CParamsOwner, true)));

    EXPECT_EQ(ThrownMessage([&] { element->DeleteChild(&foreign); }),
              u"Метод DeleteChild поддерживает только аргумент типа CIElementImpl");
    EXPECT_EQ(ThrownMessage([&] { element->HasChild(&foreign); }),
              u"Метод HasChild поддерживает только аргумент типа CIElementImpl");
    EXPECT_EQ(ThrownMessage([&] { element->Merge(&foreign, true, false, false); }),
              u"Метод Merge поддерживает только аргумент типа CIElementImpl");
    EXPECT_EQ(ThrownMessage([&] { element->CopyParamsFrom(owner); }),
              u"Метод CopyParamsFrom поддерживает только аргумент типа CIElementImpl");
    // The element's merge of parameters wants a plain owner, even from an element.
    EXPECT_EQ(ThrownMessage([&] { element->MergeParamsFrom(other, true, false); }),
              u"Метод MergeParamsFrom поддерживает только аргумент типа CIParamsOwnerImpl");
    EXPECT_EQ(ThrownMessage([&] { owner->ApplyParameters(other); }),
              u"Метод ApplyParameters поддерживает только аргумент типа CIParamsOwnerImpl");
    EXPECT_EQ(ThrownMessage([&] { owner->IsEqualParameters(other); }),
              u"Метод IsEqualParameters поддерживает только аргумент типа CIParamsOwnerImpl");

    try {
        element->GetChildIndex(&foreign);
        ADD_FAILURE();
    } catch (const CKVException& e) {
        EXPECT_EQ(e.GetCodePos().Find(u"CIElementImpl::GetChildIndex (Line "), 0) << e.GetCodePos();
    }

    // The accepted kinds go through.
    owner->SetParameter(u"X", u"1");
    element->MergeParamsFrom(owner, false, false);
    EXPECT_EQ(std::u16string(element->GetParameterValue(u"x", u"")), u"1");
    other->CopyParamsFrom(element);
    EXPECT_TRUE(other->IsEqualParameters(element));
}

TEST(PluginArguments, DictionaryDownCastsUseTheLongForm) {
    IParamDef* def = nullptr;
    ASSERT_EQ(Factory().CreateParamDef(&def, u"A", u"", 5, false, -1, 0), S_OK);
    CComPtr<IParamDef> defOwner = Adopt(def);
    IParamDefs* defs = nullptr;
    ASSERT_EQ(Factory().CreateParamDefs(&defs), S_OK);
    CComPtr<IParamDefs> defsOwner = Adopt(defs);

    EXPECT_EQ(ThrownMessage([&] { def->IsEqual(nullptr); }), u"Expression \"pDef\" can''t be NULL");
    EXPECT_EQ(ThrownMessage([&] { defs->AddParamCopy(def, true, nullptr); }),
              u"Expression \"pResDef\" can''t be NULL");

    IParamDef* copy = nullptr;
    defs->AddParamCopy(def, true, &copy);
    EXPECT_TRUE(copy->IsEqual(def));
    copy->Release();
    EXPECT_EQ(defs->GetCount(), 1);
    // Without a database link the call is refused quietly.
    EXPECT_FALSE(defs->UpdateDbParameter(def));
}

TEST(PluginConvert, GivesTheWrappedElementOrRefuses) {
    CComPtr<IElement> element = NewElement(u"e");
    CElement* wrapped = ConvertToCElement(element);
    ASSERT_NE(wrapped, nullptr);
    EXPECT_EQ(std::u16string(wrapped->GetName()), u"e");

    ForeignElement foreign;
    try {
        ConvertToCElement(&foreign);
        ADD_FAILURE() << "a foreign element was accepted";
    } catch (const CString& text) {
        EXPECT_EQ(text, u"This method supports only CIElementImpl data type");
    }
    EXPECT_THROW(ConvertToCElement(nullptr), CString);

    CComPtr<IElement> empty(static_cast<IElement*>(new CIElementImpl(nullptr, false)));
    EXPECT_EQ(ThrownMessage([&] { ConvertToCElement(empty); }),
              u"Expression \"pElImpl->m_pElement\" can''t be NULL");
}
