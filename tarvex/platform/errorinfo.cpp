#include "tarvex/platform/errorinfo.h"

#include <atomic>
#include <mutex>
#include <new>

#include "tarvex/platform/bstr.h"

namespace {

// One object behind both interfaces. A mutex guards the fields, since the
// object may be handed to another thread.
class ErrorObject final : public IErrorInfo, public ICreateErrorInfo {
public:
    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IErrorInfo)
            *object = static_cast<IErrorInfo*>(this);
        else if (riid == IID_ICreateErrorInfo)
            *object = static_cast<ICreateErrorInfo*>(this);
        else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_refs; }
    ULONG Release() override {
        ULONG refs = --m_refs;
        if (refs == 0) delete this;
        return refs;
    }

    HRESULT GetGUID(GUID* guid) override {
        if (guid == nullptr) return E_INVALIDARG;
        std::lock_guard lock(m_mutex);
        *guid = m_guid;
        return S_OK;
    }
    HRESULT GetSource(BSTR* source) override { return Get(m_source, source); }
    HRESULT GetDescription(BSTR* description) override { return Get(m_description, description); }
    HRESULT GetHelpFile(BSTR* helpFile) override { return Get(m_helpFile, helpFile); }
    HRESULT GetHelpContext(DWORD* helpContext) override {
        if (helpContext == nullptr) return E_INVALIDARG;
        std::lock_guard lock(m_mutex);
        *helpContext = m_helpContext;
        return S_OK;
    }

    HRESULT SetGUID(REFGUID guid) override {
        std::lock_guard lock(m_mutex);
        m_guid = guid;
        return S_OK;
    }
    HRESULT SetSource(LPOLESTR source) override { return Set(m_source, source); }
    HRESULT SetDescription(LPOLESTR description) override {
        return Set(m_description, description);
    }
    HRESULT SetHelpFile(LPOLESTR helpFile) override { return Set(m_helpFile, helpFile); }
    HRESULT SetHelpContext(DWORD helpContext) override {
        std::lock_guard lock(m_mutex);
        m_helpContext = helpContext;
        return S_OK;
    }

private:
    ~ErrorObject() {
        SysFreeString(m_source);
        SysFreeString(m_description);
        SysFreeString(m_helpFile);
    }

    HRESULT Get(BSTR field, BSTR* out) {
        if (out == nullptr) return E_INVALIDARG;
        std::lock_guard lock(m_mutex);
        *out = nullptr;
        if (field != nullptr && (*out = SysAllocStringByteLen(reinterpret_cast<const char*>(field),
                                                              SysStringByteLen(field))) == nullptr)
            return E_OUTOFMEMORY;
        return S_OK;
    }
    HRESULT Set(BSTR& field, LPOLESTR text) {
        BSTR copy = nullptr;
        if (text != nullptr && (copy = SysAllocString(text)) == nullptr) return E_OUTOFMEMORY;
        std::lock_guard lock(m_mutex);
        SysFreeString(field);
        field = copy;
        return S_OK;
    }

    std::atomic<ULONG> m_refs{1};
    std::mutex m_mutex;
    GUID m_guid = GUID_NULL;
    BSTR m_source = nullptr;
    BSTR m_description = nullptr;
    BSTR m_helpFile = nullptr;
    DWORD m_helpContext = 0;
};

// The thread's slot; whatever is left in it is released when the thread ends.
struct ErrorSlot {
    IErrorInfo* info = nullptr;
    ~ErrorSlot() {
        if (info) info->Release();
    }
};

thread_local ErrorSlot t_slot;

} // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** info) noexcept {
    if (info == nullptr) return E_INVALIDARG;
    auto* object = new (std::nothrow) ErrorObject;
    *info = object;
    return object ? S_OK : E_OUTOFMEMORY;
}

HRESULT SetErrorInfo(DWORD, IErrorInfo* info) noexcept {
    if (info) info->AddRef();
    IErrorInfo* old = t_slot.info;
    t_slot.info = info;
    if (old) old->Release();
    return S_OK;
}

HRESULT GetErrorInfo(DWORD, IErrorInfo** info) noexcept {
    if (info == nullptr) return E_INVALIDARG;
    *info = t_slot.info;
    t_slot.info = nullptr;
    return *info ? S_OK : S_FALSE;
}
