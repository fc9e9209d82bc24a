// JavaScript over Duktape behind IActiveScript and IActiveScriptParse.
//
// Duktape unwinds its errors with longjmp, so every call into it is a
// protected one (duk_safe_call, duk_pcompile) whose body only touches the
// value stack: no C++ object with a destructor is alive inside a Duktape
// frame, and no C++ exception crosses one. Text goes in as CESU-8, one
// UTF-16 unit at a time, so that a string's length in the script is its
// length in units, as the host counts it.
#include "tarvex/platform/jsengine.h"

#include <duktape.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "tarvex/platform/activscp.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/classregistry.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"
#include "tarvex/platform/wide.h"

namespace {

constexpr CLSID kClsidJScriptAlias = {
    0x6F3E2A42, 0x8C1D, 0x4B7E, {0x9A, 0x52, 0x3D, 0x0C, 0x71, 0xE4, 0x28, 0xB5}};

// ---------------------------------------------------------------------------
// Text

void AppendCesu8(std::string& out, std::u16string_view text) {
    out.reserve(out.size() + text.size());
    for (char16_t unit : text) {
        if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else if (unit < 0x800) {
            out += static_cast<char>(0xC0 | (unit >> 6));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (unit >> 12));
            out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
}

std::string ToCesu8(std::u16string_view text) {
    std::string out;
    AppendCesu8(out, text);
    return out;
}

// Duktape's strings are CESU-8, but text it built from 4-byte UTF-8 keeps
// that form: both decode to UTF-16. Malformed bytes become U+FFFD.
CString FromEngineText(const char* bytes, size_t length) {
    std::u16string out;
    out.reserve(length);
    const auto* p = reinterpret_cast<const unsigned char*>(bytes);
    size_t i = 0;
    while (i < length) {
        const unsigned lead = p[i];
        int extra = -1;
        if (lead < 0x80)
            extra = 0;
        else if (lead >= 0xC0 && lead < 0xE0)
            extra = 1;
        else if (lead >= 0xE0 && lead < 0xF0)
            extra = 2;
        else if (lead >= 0xF0 && lead < 0xF8)
            extra = 3;
        bool ok = extra >= 0 && length - i > static_cast<size_t>(extra);
        char32_t cp = extra == 0 ? lead : lead & (0x7Fu >> (extra + 1));
        for (int k = 1; ok && k <= extra; ++k) {
            const unsigned next = p[i + k];
            ok = (next & 0xC0) == 0x80;
            cp = (cp << 6) | (next & 0x3F);
        }
        if (!ok || cp > 0x10FFFF) {
            out += u'\uFFFD';
            ++i;
            continue;
        }
        i += extra + 1;
        if (cp > 0xFFFF) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (cp >> 10));
            out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
    }
    return CString(std::u16string_view(out));
}

// The string at `index`, coerced under protection; "" if even that fails.
CString SafeText(duk_context* ctx, duk_idx_t index) {
    duk_size_t length = 0;
    const char* bytes = duk_safe_to_lstring(ctx, index, &length);
    return bytes ? FromEngineText(bytes, length) : CString();
}

// ---------------------------------------------------------------------------
// Errors

// Reference counting and QueryInterface of an object with one interface
// besides IUnknown; starts with the creator's reference.
template <class Interface, const IID& kInterfaceId>
class CSingleInterfaceObject : public Interface {
public:
    virtual ~CSingleInterfaceObject() = default;

    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        if (riid == IID_IUnknown || riid == kInterfaceId) {
            *object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_nRefs; }
    ULONG Release() override {
        const ULONG left = --m_nRefs;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_nRefs{1};
};

class CScriptError final
    : public CSingleInterfaceObject<IActiveScriptError, IID_IActiveScriptError> {
public:
    CScriptError(CString description, const char16_t* source, bool hasLine, ULONG line,
                 CString lineText)
        : m_strDescription(std::move(description)), m_strSource(source), m_bHasLine(hasLine),
          m_nLine(line), m_strLineText(std::move(lineText)) {}

    HRESULT GetExceptionInfo(EXCEPINFO* info) override {
        if (!info) return E_POINTER;
        *info = EXCEPINFO{};
        info->bstrSource = m_strSource.AllocSysString();
        info->bstrDescription = m_strDescription.AllocSysString();
        info->scode = E_FAIL;
        return S_OK;
    }
    HRESULT GetSourcePosition(DWORD* context, ULONG* line, LONG* position) override {
        if (!m_bHasLine) return E_FAIL;
        if (context) *context = 0;
        if (line) *line = m_nLine;
        if (position) *position = 0; // the engine tells no column
        return S_OK;
    }
    HRESULT GetSourceLineText(BSTR* text) override {
        if (!text) return E_POINTER;
        if (!m_bHasLine) return E_FAIL;
        *text = m_strLineText.AllocSysString();
        return S_OK;
    }

private:
    CString m_strDescription;
    CString m_strSource;
    bool m_bHasLine;
    ULONG m_nLine;
    CString m_strLineText;
};

// ---------------------------------------------------------------------------
// Bodies of the protected calls. Each touches only the value stack.

struct CompileArgs {
    const char* source;
    size_t sourceLength;
    const char* fileName;
};

duk_ret_t CompileBody(duk_context* ctx, void* data) {
    const auto* args = static_cast<const CompileArgs*>(data);
    duk_push_lstring(ctx, args->source, args->sourceLength);
    duk_push_string(ctx, args->fileName);
    duk_compile(ctx, 0);
    return 1;
}

constexpr const char* kQueueKey = "tarvexQueue";

// [function] -> []: appended to the queue of programs waiting for the
// connected state.
duk_ret_t EnqueueBody(duk_context* ctx, void*) {
    duk_push_heap_stash(ctx);
    if (!duk_get_prop_string(ctx, -1, kQueueKey)) {
        duk_pop(ctx);
        duk_push_array(ctx);
        duk_dup_top(ctx);
        duk_put_prop_string(ctx, -3, kQueueKey);
    }
    const duk_size_t length = duk_get_length(ctx, -1);
    duk_dup(ctx, 0);
    duk_put_prop_index(ctx, -2, static_cast<duk_uarridx_t>(length));
    return 0;
}

// [] -> [queue] and the queue emptied in the stash.
duk_ret_t TakeQueueBody(duk_context* ctx, void*) {
    duk_push_heap_stash(ctx);
    if (!duk_get_prop_string(ctx, -1, kQueueKey)) {
        duk_pop(ctx);
        duk_push_array(ctx);
    }
    duk_push_array(ctx);
    duk_put_prop_string(ctx, -3, kQueueKey);
    return 1;
}

// [function] -> [result]
duk_ret_t RunBody(duk_context* ctx, void*) {
    duk_call(ctx, 0);
    return 1;
}

// [error] -> [text, lineNumber, fileName]
duk_ret_t DescribeBody(duk_context* ctx, void*) {
    duk_dup(ctx, 0);
    duk_to_string(ctx, -1);
    if (duk_is_object(ctx, 0)) {
        duk_get_prop_string(ctx, 0, "lineNumber");
        duk_get_prop_string(ctx, 0, "fileName");
    } else {
        duk_push_undefined(ctx);
        duk_push_undefined(ctx);
    }
    return 3;
}

struct HasGlobalArgs {
    const char* name;
    size_t nameLength;
};

duk_ret_t HasGlobalBody(duk_context* ctx, void* data) {
    const auto* args = static_cast<const HasGlobalArgs*>(data);
    duk_push_global_object(ctx);
    duk_push_lstring(ctx, args->name, args->nameLength);
    duk_push_boolean(ctx, duk_has_prop(ctx, -2));
    return 1;
}

// An argument ready to be pushed without any conversion inside the engine.
struct PreparedArg {
    enum Kind { kUndefined, kNull, kBoolean, kNumber, kString } kind;
    double number;
    std::string text;
};

struct CallArgs {
    const char* name;
    size_t nameLength;
    const PreparedArg* args;
    size_t count;
};

duk_ret_t CallGlobalBody(duk_context* ctx, void* data) {
    const auto* call = static_cast<const CallArgs*>(data);
    duk_push_global_object(ctx);
    duk_get_prop_lstring(ctx, -1, call->name, call->nameLength);
    for (size_t i = 0; i < call->count; ++i) {
        const PreparedArg& arg = call->args[i];
        switch (arg.kind) {
        case PreparedArg::kUndefined:
            duk_push_undefined(ctx);
            break;
        case PreparedArg::kNull:
            duk_push_null(ctx);
            break;
        case PreparedArg::kBoolean:
            duk_push_boolean(ctx, arg.number != 0);
            break;
        case PreparedArg::kNumber:
            duk_push_number(ctx, arg.number);
            break;
        case PreparedArg::kString:
            duk_push_lstring(ctx, arg.text.data(), arg.text.size());
            break;
        }
    }
    duk_call(ctx, static_cast<duk_idx_t>(call->count));
    return 1;
}

// Never returns: reached only if a call escaped protection, which is a bug.
void FatalHandler(void*, const char* message) {
    std::fprintf(stderr, "script engine fatal error: %s\n", message ? message : "");
    std::abort();
}

PreparedArg PrepareArg(const VARIANT& value) {
    PreparedArg arg{PreparedArg::kUndefined, 0, {}};
    switch (value.vt) {
    case VT_EMPTY:
        break;
    case VT_NULL:
        arg.kind = PreparedArg::kNull;
        break;
    case VT_BOOL:
        arg.kind = PreparedArg::kBoolean;
        arg.number = value.boolVal ? 1 : 0;
        break;
    case VT_BSTR:
        arg.kind = PreparedArg::kString;
        arg.text = ToCesu8({value.bstrVal ? value.bstrVal : u"", SysStringLen(value.bstrVal)});
        break;
    default: {
        VARIANT number;
        VariantInit(&number);
        if (SUCCEEDED(VariantChangeType(&number, &value, 0, VT_R8))) {
            arg.kind = PreparedArg::kNumber;
            arg.number = number.dblVal;
        } else if (SUCCEEDED(VariantChangeType(&number, &value, 0, VT_BSTR))) {
            arg.kind = PreparedArg::kString;
            arg.text =
                ToCesu8({number.bstrVal ? number.bstrVal : u"", SysStringLen(number.bstrVal)});
        }
        VariantClear(&number);
    }
    }
    return arg;
}

// The value at the top of the stack as a variant; objects become their text.
void TopToVariant(duk_context* ctx, VARIANT* out) {
    VariantInit(out);
    switch (duk_get_type(ctx, -1)) {
    case DUK_TYPE_NULL:
        out->vt = VT_NULL;
        return;
    case DUK_TYPE_BOOLEAN:
        out->vt = VT_BOOL;
        out->boolVal = duk_get_boolean(ctx, -1) ? VARIANT_TRUE : VARIANT_FALSE;
        return;
    case DUK_TYPE_NUMBER: {
        const double value = duk_get_number(ctx, -1);
        if (std::nearbyint(value) == value && value >= INT32_MIN && value <= INT32_MAX &&
            !(value == 0 && std::signbit(value))) {
            out->vt = VT_I4;
            out->lVal = static_cast<int32_t>(value);
        } else {
            out->vt = VT_R8;
            out->dblVal = value;
        }
        return;
    }
    case DUK_TYPE_NONE:
    case DUK_TYPE_UNDEFINED:
        return;
    default:
        out->vt = VT_BSTR;
        out->bstrVal = SafeText(ctx, -1).AllocSysString();
        return;
    }
}

// ---------------------------------------------------------------------------
// The engine

class CGlobalDispatch;

class CJavaScriptEngine final : public IActiveScript, public IActiveScriptParse {
public:
    CJavaScriptEngine() = default;
    virtual ~CJavaScriptEngine() { DestroyHeap(); }

    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IActiveScript)
            *object = static_cast<IActiveScript*>(this);
        else if (riid == IID_IActiveScriptParse)
            *object = static_cast<IActiveScriptParse*>(this);
        else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_nRefs; }
    ULONG Release() override {
        const ULONG left = --m_nRefs;
        if (left == 0) delete this;
        return left;
    }

    // IActiveScript
    HRESULT SetScriptSite(IActiveScriptSite* site) override {
        if (!site) return E_POINTER;
        if (m_pSite) return E_UNEXPECTED;
        site->AddRef();
        m_pSite = site;
        return S_OK;
    }
    HRESULT GetScriptSite(REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        return m_pSite ? m_pSite->QueryInterface(riid, object) : E_FAIL;
    }
    HRESULT SetScriptState(SCRIPTSTATE state) override {
        if (!m_pContext) return E_UNEXPECTED;
        m_state = state;
        if (state == SCRIPTSTATE_STARTED || state == SCRIPTSTATE_CONNECTED) RunQueue();
        if (m_pSite) m_pSite->OnStateChange(state);
        return S_OK;
    }
    HRESULT GetScriptState(SCRIPTSTATE* state) override {
        if (!state) return E_POINTER;
        *state = m_state;
        return S_OK;
    }
    HRESULT Close() override {
        DestroyHeap();
        m_state = SCRIPTSTATE_CLOSED;
        if (IActiveScriptSite* site = m_pSite) {
            m_pSite = nullptr;
            site->Release();
        }
        return S_OK;
    }
    HRESULT AddNamedItem(LPCOLESTR, DWORD) override { return E_NOTIMPL; }
    HRESULT AddTypeLib(REFGUID, DWORD, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT GetScriptDispatch(LPCOLESTR itemName, IDispatch** dispatch) override;
    HRESULT GetCurrentScriptThreadID(SCRIPTTHREADID* thread) override {
        if (!thread) return E_POINTER;
        *thread = 0;
        return S_OK;
    }
    HRESULT GetScriptThreadID(DWORD, SCRIPTTHREADID* thread) override {
        return GetCurrentScriptThreadID(thread);
    }
    HRESULT GetScriptThreadState(SCRIPTTHREADID, SCRIPTTHREADSTATE* state) override {
        if (!state) return E_POINTER;
        *state = SCRIPTTHREADSTATE_NOTINSCRIPT;
        return S_OK;
    }
    // Duktape offers no way to stop a running script from outside.
    HRESULT InterruptScriptThread(SCRIPTTHREADID, const EXCEPINFO*, DWORD) override { return S_OK; }
    HRESULT Clone(IActiveScript** copy) override {
        if (copy) *copy = nullptr;
        return E_NOTIMPL;
    }

    // IActiveScriptParse
    HRESULT InitNew() override {
        if (m_pContext) return E_UNEXPECTED;
        m_pContext = duk_create_heap(nullptr, nullptr, nullptr, nullptr, FatalHandler);
        if (!m_pContext) return E_OUTOFMEMORY;
        m_state = SCRIPTSTATE_INITIALIZED;
        return S_OK;
    }
    HRESULT AddScriptlet(LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR,
                         DWORD_PTR, ULONG, DWORD, BSTR* name, EXCEPINFO*) override {
        if (name) *name = nullptr;
        return E_NOTIMPL;
    }
    HRESULT ParseScriptText(LPCOLESTR code, LPCOLESTR, IUnknown*, LPCOLESTR, DWORD_PTR, ULONG,
                            DWORD, VARIANT* result, EXCEPINFO*) override;

    // For the global object's dispatch.
    HRESULT FindGlobal(const char16_t* name, DISPID& id);
    HRESULT CallGlobal(DISPID id, const DISPPARAMS* params, VARIANT* result);

private:
    void DestroyHeap() {
        if (m_pContext) duk_destroy_heap(m_pContext);
        m_pContext = nullptr;
    }
    void RunQueue();
    // Takes the error at the top of the stack, pops it and tells the site.
    void ReportTopError(const char16_t* source);

    std::atomic<ULONG> m_nRefs{0};
    duk_context* m_pContext = nullptr;
    IActiveScriptSite* m_pSite = nullptr;
    SCRIPTSTATE m_state = SCRIPTSTATE_UNINITIALIZED;
    // Texts parsed so far, by the number in their file name, for the source
    // line of an error.
    std::vector<CString> m_arrScripts;
    // Global names handed out as DISPIDs: index + 1.
    std::vector<CString> m_arrNames;
};

class CGlobalDispatch final : public CSingleInterfaceObject<IDispatch, IID_IDispatch> {
public:
    explicit CGlobalDispatch(CJavaScriptEngine* engine) : m_pEngine(engine) { engine->AddRef(); }
    ~CGlobalDispatch() override { m_pEngine->Release(); }

    HRESULT GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
        if (info) *info = nullptr;
        return E_NOTIMPL;
    }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        if (!names || !ids) return E_POINTER;
        HRESULT result = S_OK;
        for (UINT i = 0; i < count; ++i) {
            ids[i] = DISPID_UNKNOWN;
            if (i > 0) {
                result = DISP_E_UNKNOWNNAME; // no named arguments
                continue;
            }
            const HRESULT found = m_pEngine->FindGlobal(names[i], ids[i]);
            if (FAILED(found)) result = found;
        }
        return result;
    }
    HRESULT Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO* excepInfo, UINT* argErr) override {
        if (excepInfo) *excepInfo = EXCEPINFO{};
        if (argErr) *argErr = 0;
        if (!(flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET))) return DISP_E_MEMBERNOTFOUND;
        if (params && params->cNamedArgs) return DISP_E_NONAMEDARGS;
        return m_pEngine->CallGlobal(id, params, result);
    }

private:
    CJavaScriptEngine* m_pEngine;
};

HRESULT CJavaScriptEngine::GetScriptDispatch(LPCOLESTR itemName, IDispatch** dispatch) {
    if (!dispatch) return E_POINTER;
    *dispatch = nullptr;
    if (itemName && *itemName) return E_INVALIDARG; // no named items are offered
    if (!m_pContext) return E_UNEXPECTED;
    *dispatch = new CGlobalDispatch(this);
    return S_OK;
}

HRESULT CJavaScriptEngine::ParseScriptText(LPCOLESTR code, LPCOLESTR, IUnknown*, LPCOLESTR,
                                           DWORD_PTR, ULONG, DWORD, VARIANT* result, EXCEPINFO*) {
    if (result) VariantInit(result);
    if (!m_pContext) return E_UNEXPECTED;
    const CString text(code);
    const std::string source = ToCesu8(text.View());
    const std::string fileName = "script" + std::to_string(m_arrScripts.size());
    m_arrScripts.push_back(text);

    CompileArgs args{source.data(), source.size(), fileName.c_str()};
    if (duk_safe_call(m_pContext, CompileBody, &args, 0, 1) != DUK_EXEC_SUCCESS) {
        ReportTopError(u"JavaScript compilation error");
        return SCRIPT_E_REPORTED;
    }
    if (m_state != SCRIPTSTATE_STARTED && m_state != SCRIPTSTATE_CONNECTED) {
        const duk_int_t queued = duk_safe_call(m_pContext, EnqueueBody, nullptr, 1, 0);
        return queued == DUK_EXEC_SUCCESS ? S_OK : E_OUTOFMEMORY;
    }
    if (duk_safe_call(m_pContext, RunBody, nullptr, 1, 1) != DUK_EXEC_SUCCESS) {
        ReportTopError(u"JavaScript runtime error");
        return SCRIPT_E_REPORTED;
    }
    duk_pop(m_pContext);
    return S_OK;
}

void CJavaScriptEngine::RunQueue() {
    duk_context* ctx = m_pContext;
    if (duk_safe_call(ctx, TakeQueueBody, nullptr, 0, 1) != DUK_EXEC_SUCCESS) {
        duk_pop(ctx);
        return;
    }
    const duk_size_t count = duk_get_length(ctx, -1);
    for (duk_size_t i = 0; i < count; ++i) {
        // Reading an own index of a plain array cannot throw.
        duk_get_prop_index(ctx, -1, static_cast<duk_uarridx_t>(i));
        if (duk_safe_call(ctx, RunBody, nullptr, 1, 1) != DUK_EXEC_SUCCESS)
            ReportTopError(u"JavaScript runtime error");
        else
            duk_pop(ctx);
    }
    duk_pop(ctx);
}

void CJavaScriptEngine::ReportTopError(const char16_t* source) {
    duk_context* ctx = m_pContext;
    CString description = u"Error";
    bool hasLine = false;
    ULONG line = 0;
    CString lineText;
    if (duk_safe_call(ctx, DescribeBody, nullptr, 1, 3) == DUK_EXEC_SUCCESS) {
        description = SafeText(ctx, -3);
        if (duk_is_number(ctx, -2)) {
            const double number = duk_get_number(ctx, -2);
            if (number >= 1 && number < 1e9) {
                hasLine = true;
                line = static_cast<ULONG>(number) - 1;
            }
        }
        const char* file = duk_get_string(ctx, -1);
        if (hasLine && file && std::strncmp(file, "script", 6) == 0) {
            const size_t index = std::strtoul(file + 6, nullptr, 10);
            if (index < m_arrScripts.size()) {
                const CString& script = m_arrScripts[index];
                int start = 0;
                for (ULONG k = 0; k < line && start >= 0; ++k) {
                    start = script.Find(u'\n', start);
                    if (start >= 0) ++start;
                }
                if (start >= 0) {
                    int end = script.Find(u'\n', start);
                    if (end < 0) end = script.GetLength();
                    if (end > start && script[end - 1] == u'\r') --end;
                    lineText = script.Mid(start, end - start);
                }
            }
        }
    }
    duk_pop_n(ctx, 3);
    if (!m_pSite) return;
    auto* error = new CScriptError(description, source, hasLine, line, lineText);
    m_pSite->OnScriptError(error);
    error->Release();
}

HRESULT CJavaScriptEngine::FindGlobal(const char16_t* name, DISPID& id) {
    id = DISPID_UNKNOWN;
    if (!m_pContext) return E_UNEXPECTED;
    if (!name) return DISP_E_UNKNOWNNAME;
    const std::string bytes = ToCesu8(name);
    HasGlobalArgs args{bytes.data(), bytes.size()};
    bool found = false;
    if (duk_safe_call(m_pContext, HasGlobalBody, &args, 0, 1) == DUK_EXEC_SUCCESS)
        found = duk_get_boolean(m_pContext, -1);
    duk_pop(m_pContext);
    if (!found) return DISP_E_UNKNOWNNAME;
    for (size_t i = 0; i < m_arrNames.size(); ++i) {
        if (wcscmp(m_arrNames[i], name) == 0) {
            id = static_cast<DISPID>(i + 1);
            return S_OK;
        }
    }
    m_arrNames.emplace_back(name);
    id = static_cast<DISPID>(m_arrNames.size());
    return S_OK;
}

HRESULT CJavaScriptEngine::CallGlobal(DISPID id, const DISPPARAMS* params, VARIANT* result) {
    if (result) VariantInit(result);
    if (!m_pContext) return E_UNEXPECTED;
    if (id < 1 || static_cast<size_t>(id) > m_arrNames.size()) return DISP_E_MEMBERNOTFOUND;
    const std::string name = ToCesu8(m_arrNames[id - 1].View());
    // Arguments arrive last first.
    std::vector<PreparedArg> args;
    const UINT count = params ? params->cArgs : 0;
    if (count && !params->rgvarg) return E_INVALIDARG;
    args.reserve(count);
    for (UINT i = count; i-- > 0;) args.push_back(PrepareArg(params->rgvarg[i]));

    CallArgs call{name.data(), name.size(), args.data(), args.size()};
    if (m_pSite) m_pSite->OnEnterScript();
    const duk_int_t status = duk_safe_call(m_pContext, CallGlobalBody, &call, 0, 1);
    if (m_pSite) m_pSite->OnLeaveScript();
    if (status != DUK_EXEC_SUCCESS) {
        ReportTopError(u"JavaScript runtime error");
        return SCRIPT_E_REPORTED;
    }
    if (result) TopToVariant(m_pContext, result);
    duk_pop(m_pContext);
    return S_OK;
}

// ---------------------------------------------------------------------------
// Registration

class CJavaScriptFactory final : public IClassFactory {
public:
    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IClassFactory) {
            *object = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    // One object for the process, never deleted.
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        auto* engine = new CJavaScriptEngine;
        engine->AddRef();
        const HRESULT result = engine->QueryInterface(riid, object);
        engine->Release();
        return result;
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
};

} // namespace

HRESULT RegisterScriptEngines() noexcept {
    static std::once_flag once;
    static HRESULT result = S_OK;
    std::call_once(once, [] {
        static CJavaScriptFactory factory;
        result = CoRegisterClassObjectFactory(CLSID_TarvexJavaScript, u"JavaScript", &factory);
        if (SUCCEEDED(result))
            result = CoRegisterClassObjectFactory(kClsidJScriptAlias, u"JScript", &factory);
    });
    return result;
}
