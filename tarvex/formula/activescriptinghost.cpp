#include "tarvex/formula/activescriptinghost.h"

#include "tarvex/core/hostui.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/classregistry.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/jsengine.h"

namespace {

// The locale of the name lookup: the user's default.
constexpr LCID kLookupLocale = 1024;

// The same COM object, told by the identity of its IUnknown.
bool SameObject(IUnknown* a, IUnknown* b) {
    if (!a || !b) return false;
    CComPtr<IUnknown> first, second;
    a->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&first));
    b->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&second));
    return first && first.p == second.p;
}

} // namespace

ActiveScriptingHost::~ActiveScriptingHost() {
    ReleaseEngine();
}

HRESULT ActiveScriptingHost::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IActiveScriptSite) {
        *object = static_cast<IActiveScriptSite*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG ActiveScriptingHost::AddRef() {
    return ++m_nRefs;
}

ULONG ActiveScriptingHost::Release() {
    const ULONG left = --m_nRefs;
    if (left == 0) delete this;
    return left;
}

HRESULT ActiveScriptingHost::GetLCID(LCID* lcid) {
    if (lcid) *lcid = 0;
    return S_OK;
}

HRESULT ActiveScriptingHost::GetItemInfo(LPCOLESTR, DWORD, IUnknown** item, ITypeInfo** typeInfo) {
    if (item) *item = nullptr;
    if (typeInfo) *typeInfo = nullptr;
    return TYPE_E_ELEMENTNOTFOUND; // no named items are offered
}

HRESULT ActiveScriptingHost::GetDocVersionString(BSTR* version) {
    if (!version) return E_POINTER;
    *version = SysAllocString(u"1.0");
    return S_OK;
}

HRESULT ActiveScriptingHost::OnScriptTerminate(const VARIANT*, const EXCEPINFO*) {
    return S_OK;
}

HRESULT ActiveScriptingHost::OnStateChange(SCRIPTSTATE) {
    return S_OK;
}

HRESULT ActiveScriptingHost::OnEnterScript() {
    return S_OK;
}

HRESULT ActiveScriptingHost::OnLeaveScript() {
    return S_OK;
}

HRESULT ActiveScriptingHost::OnScriptError(IActiveScriptError* error) {
    if (!error) return S_OK;
    EXCEPINFO info{};
    if (FAILED(error->GetExceptionInfo(&info))) return S_OK;
    // The line breaks are "\n\r", as the users of these texts know them.
    CString text;
    text.Format(u"Description: %s\n\rSource: %s", info.bstrDescription ? info.bstrDescription : u"",
                info.bstrSource ? info.bstrSource : u"");
    BSTR line = nullptr;
    if (SUCCEEDED(error->GetSourceLineText(&line)))
        text.AppendFormat(u"\n\rSource line text: %s", line ? line : u"");
    SysFreeString(line);
    DWORD context = 0;
    ULONG lineNumber = 0;
    LONG position = 0;
    if (SUCCEEDED(error->GetSourcePosition(&context, &lineNumber, &position)))
        text.AppendFormat(u"\n\rSource context: %d\n\rLine number: %d\n\rCharacterPosition: %d",
                          static_cast<int>(context), static_cast<int>(lineNumber + 1),
                          static_cast<int>(position));
    MessageBoxW(nullptr, text, info.bstrSource ? info.bstrSource : u"", MB_OK);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    return S_OK;
}

HRESULT ActiveScriptingHost::SetScriptType(const char16_t* progId) {
    RegisterScriptEngines();
    CLSID clsid;
    HRESULT result = CLSIDFromProgID(progId, &clsid);
    if (FAILED(result)) return result;
    IActiveScript* script = nullptr;
    result = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IActiveScript,
                              reinterpret_cast<void**>(&script));
    if (FAILED(result)) return result;
    if (m_pScript) Close();
    m_pScript = script;
    if (!SameObject(m_pParse, m_pScript)) {
        if (m_pParse) m_pParse->Release();
        m_pParse = nullptr;
        result =
            m_pScript->QueryInterface(IID_IActiveScriptParse, reinterpret_cast<void**>(&m_pParse));
        if (FAILED(result)) return result;
    }
    result = m_pScript->SetScriptSite(this);
    if (FAILED(result)) return result;
    return m_pParse->InitNew();
}

HRESULT ActiveScriptingHost::ParseScript(const char16_t* text) {
    if (!m_pScript || !m_pParse) return E_FAIL;
    const HRESULT result =
        m_pParse->ParseScriptText(text, nullptr, nullptr, nullptr, 0, 0, 0, nullptr, nullptr);
    if (FAILED(result)) return result;
    return m_pScript->SetScriptState(SCRIPTSTATE_CONNECTED);
}

HRESULT ActiveScriptingHost::Execute(const char16_t* script, const char16_t* function,
                                     const char16_t* arg, VARIANT* out) {
    return Call(script, function, arg ? arg : u"", out);
}

HRESULT ActiveScriptingHost::Execute(const char16_t* script, const char16_t* function,
                                     VARIANT* out) {
    return Call(script, function, nullptr, out);
}

HRESULT ActiveScriptingHost::Call(const char16_t* script, const char16_t* function,
                                  const char16_t* arg, VARIANT* out) {
    if (!m_pScript || !m_pParse) return E_FAIL;
    // A failed parse has already been shown; the call goes on as the engine
    // stands, and a missing function then answers for itself.
    ParseScript(script);
    CComPtr<IDispatch> object;
    HRESULT result = m_pScript->GetScriptDispatch(nullptr, &object);
    if (!object) return result;
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR name = const_cast<LPOLESTR>(function ? function : u"");
    result = object->GetIDsOfNames(IID_NULL, &name, 1, kLookupLocale, &id);
    if (FAILED(result)) return result;

    VARIANT argument;
    VariantInit(&argument);
    DISPPARAMS params{nullptr, nullptr, 0, 0};
    if (arg) {
        argument.vt = VT_BSTR;
        argument.bstrVal = SysAllocString(arg);
        params.rgvarg = &argument;
        params.cArgs = 1;
    }
    VARIANT value;
    VariantInit(&value);
    EXCEPINFO info{};
    UINT argError = 0;
    object->Invoke(id, IID_NULL, kLookupLocale, DISPATCH_METHOD, &params, &value, &info, &argError);
    VariantClear(&argument);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    if (!out) {
        VariantClear(&value);
        return E_POINTER;
    }
    VariantClear(out);
    result = VariantChangeType(out, &value, 0, VT_BSTR);
    VariantClear(&value);
    return result;
}

HRESULT ActiveScriptingHost::Close() {
    if (!m_pScript) return E_FAIL;
    // Keeps this site alive while the engine lets go of it.
    AddRef();
    ReleaseEngine();
    Release();
    return S_OK;
}

void ActiveScriptingHost::ReleaseEngine() {
    if (m_pParse) {
        m_pParse->Release();
        m_pParse = nullptr;
    }
    if (!m_pScript) return;
    m_pScript->SetScriptState(SCRIPTSTATE_DISCONNECTED);
    m_pScript->InterruptScriptThread(SCRIPTTHREADID_ALL, nullptr, 0);
    m_pScript->Close();
    m_pScript->Release();
    m_pScript = nullptr;
}
