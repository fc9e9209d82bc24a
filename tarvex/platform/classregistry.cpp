#include "tarvex/platform/classregistry.h"

#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "tarvex/platform/casemap.h"

namespace {

struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const noexcept {
        return std::memcmp(&a, &b, sizeof(GUID)) < 0;
    }
};

struct Entry {
    IClassFactory* factory;
    std::u16string progIdKey; // folded to lower case; empty when none
};

std::u16string FoldProgId(LPCOLESTR progId) {
    std::u16string key(progId);
    TxLowerInPlace(key.data(), key.size());
    return key;
}

class Registry {
public:
    HRESULT Register(REFCLSID clsid, LPCOLESTR progId, IClassFactory* factory) {
        std::u16string key = progId ? FoldProgId(progId) : std::u16string();
        IClassFactory* replaced = nullptr;
        {
            std::lock_guard lock(m_mutex);
            auto it = m_classes.find(clsid);
            if (it != m_classes.end()) {
                replaced = it->second.factory;
                ForgetProgId(it->first, it->second.progIdKey);
                m_classes.erase(it);
            }
            if (!key.empty()) m_progIds[key] = clsid;
            m_classes.emplace(clsid, Entry{factory, std::move(key)});
            factory->AddRef();
        }
        // Released outside the lock: a factory's destructor may call back in.
        if (replaced) replaced->Release();
        return S_OK;
    }

    HRESULT Revoke(REFCLSID clsid) {
        IClassFactory* factory;
        {
            std::lock_guard lock(m_mutex);
            auto it = m_classes.find(clsid);
            if (it == m_classes.end()) return REGDB_E_CLASSNOTREG;
            factory = it->second.factory;
            ForgetProgId(it->first, it->second.progIdKey);
            m_classes.erase(it);
        }
        factory->Release();
        return S_OK;
    }

    bool FindProgId(LPCOLESTR progId, CLSID& clsid) {
        std::u16string key = FoldProgId(progId);
        std::lock_guard lock(m_mutex);
        auto it = m_progIds.find(key);
        if (it == m_progIds.end()) return false;
        clsid = it->second;
        return true;
    }

    // The factory with a new reference, or null.
    IClassFactory* Factory(REFCLSID clsid) {
        std::lock_guard lock(m_mutex);
        auto it = m_classes.find(clsid);
        if (it == m_classes.end()) return nullptr;
        it->second.factory->AddRef();
        return it->second.factory;
    }

private:
    void ForgetProgId(const CLSID& clsid, const std::u16string& key) {
        if (key.empty()) return;
        auto it = m_progIds.find(key);
        if (it != m_progIds.end() && it->second == clsid) m_progIds.erase(it);
    }

    std::mutex m_mutex;
    std::map<CLSID, Entry, GuidLess> m_classes;
    std::map<std::u16string, CLSID> m_progIds;
};

// Never destroyed: factories may live in plug-ins that are gone by the time
// static destructors run, so whatever is still registered is not released.
Registry& TheRegistry() {
    static Registry* registry = new Registry;
    return *registry;
}

} // namespace

HRESULT CoRegisterClassObjectFactory(REFCLSID clsid, LPCOLESTR progId,
                                     IClassFactory* factory) noexcept {
    if (factory == nullptr) return E_INVALIDARG;
    try {
        return TheRegistry().Register(clsid, progId, factory);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CoRevokeClassObjectFactory(REFCLSID clsid) noexcept {
    return TheRegistry().Revoke(clsid);
}

HRESULT CLSIDFromProgID(LPCOLESTR progId, LPCLSID clsid) noexcept {
    if (progId == nullptr || clsid == nullptr) return E_INVALIDARG;
    *clsid = GUID_NULL;
    try {
        return TheRegistry().FindProgId(progId, *clsid) ? S_OK : CO_E_CLASSSTRING;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CoGetClassObject(REFCLSID clsid, DWORD, void*, REFIID riid, void** object) noexcept {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    IClassFactory* factory = TheRegistry().Factory(clsid);
    if (factory == nullptr) return REGDB_E_CLASSNOTREG;
    HRESULT hr = factory->QueryInterface(riid, object);
    factory->Release();
    return hr;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD, REFIID riid,
                         void** object) noexcept {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    IClassFactory* factory = TheRegistry().Factory(clsid);
    if (factory == nullptr) return REGDB_E_CLASSNOTREG;
    HRESULT hr = factory->CreateInstance(outer, riid, object);
    factory->Release();
    if (FAILED(hr)) *object = nullptr;
    return hr;
}

HRESULT CoInitialize(void*) noexcept {
    return S_OK;
}

HRESULT CoInitializeEx(void*, DWORD) noexcept {
    return S_OK;
}

void CoUninitialize() noexcept {}
