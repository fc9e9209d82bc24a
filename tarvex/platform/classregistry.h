// COM object creation. There is no system registry: hosts register class
// factories, with an optional ProgID, in a process-wide table, and
// CoCreateInstance, CLSIDFromProgID and CLSIDFromString look there.
#pragma once

#include "tarvex/platform/unknown.h"

class IClassFactory : public IUnknown {
public:
    virtual HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** object) = 0;
    virtual HRESULT LockServer(BOOL lock) = 0;

protected:
    ~IClassFactory() = default;
};

constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
constexpr DWORD CLSCTX_INPROC_SERVER16 = 0x8;
constexpr DWORD CLSCTX_REMOTE_SERVER = 0x10;
constexpr DWORD CLSCTX_INPROC = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER;
constexpr DWORD CLSCTX_SERVER = CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
constexpr DWORD CLSCTX_ALL =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER; // 23

constexpr DWORD COINIT_MULTITHREADED = 0x0;
constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
constexpr DWORD COINIT_DISABLE_OLE1DDE = 0x4;
constexpr DWORD COINIT_SPEED_OVER_MEMORY = 0x8;

// Registers `factory` for `clsid`, holding a reference until revoked. A
// non-empty ProgID (compared without regard to case) names the class for
// CLSIDFromProgID. Registering a class again replaces its factory and ProgID;
// a ProgID registered again names the newer class. E_INVALIDARG for a null
// factory. Thread-safe.
HRESULT CoRegisterClassObjectFactory(REFCLSID clsid, LPCOLESTR progId,
                                     IClassFactory* factory) noexcept;

// Removes the class and its ProgID and releases the factory.
// REGDB_E_CLASSNOTREG when the class isn't registered.
HRESULT CoRevokeClassObjectFactory(REFCLSID clsid) noexcept;

// CO_E_CLASSSTRING for an unknown ProgID (as OLE), E_INVALIDARG for null
// arguments.
HRESULT CLSIDFromProgID(LPCOLESTR progId, LPCLSID clsid) noexcept;

// The class's factory asked for `riid`. REGDB_E_CLASSNOTREG for an unknown
// class. The context is accepted and ignored: every class is in-process.
HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void* serverInfo, REFIID riid,
                         void** object) noexcept;

// A new object from the class's factory. *object is null on failure;
// REGDB_E_CLASSNOTREG for an unknown class, E_POINTER for a null `object`.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid,
                         void** object) noexcept;

// No apartments exist here; these succeed and do nothing.
HRESULT CoInitialize(void* reserved) noexcept;
HRESULT CoInitializeEx(void* reserved, DWORD coInit) noexcept;
void CoUninitialize() noexcept;
