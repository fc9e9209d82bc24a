// The Active Scripting interfaces: a script engine (IActiveScript with
// IActiveScriptParse), the site that hosts it (IActiveScriptSite) and the
// error it reports (IActiveScriptError). Slots are in the familiar order.
#pragma once

#include "tarvex/platform/types.h"
#include "tarvex/platform/unknown.h"

enum tagSCRIPTSTATE {
    SCRIPTSTATE_UNINITIALIZED = 0,
    SCRIPTSTATE_INITIALIZED = 5,
    SCRIPTSTATE_STARTED = 1,
    SCRIPTSTATE_CONNECTED = 2,
    SCRIPTSTATE_DISCONNECTED = 3,
    SCRIPTSTATE_CLOSED = 4,
};
using SCRIPTSTATE = tagSCRIPTSTATE;

enum tagSCRIPTTHREADSTATE { SCRIPTTHREADSTATE_NOTINSCRIPT = 0, SCRIPTTHREADSTATE_RUNNING = 1 };
using SCRIPTTHREADSTATE = tagSCRIPTTHREADSTATE;

using SCRIPTTHREADID = DWORD;
constexpr SCRIPTTHREADID SCRIPTTHREADID_CURRENT = static_cast<SCRIPTTHREADID>(-1);
constexpr SCRIPTTHREADID SCRIPTTHREADID_BASE = static_cast<SCRIPTTHREADID>(-2);
constexpr SCRIPTTHREADID SCRIPTTHREADID_ALL = static_cast<SCRIPTTHREADID>(-3);

constexpr DWORD SCRIPTINTERRUPT_DEBUG = 0x1;
constexpr DWORD SCRIPTINTERRUPT_RAISEEXCEPTION = 0x2;

// The engine has already told the site of the error.
constexpr HRESULT SCRIPT_E_REPORTED = MakeHResult(0x80020101u);

inline constexpr IID IID_IActiveScriptSite = {
    0xDB01A1E3, 0xA42B, 0x11CF, {0x8F, 0x20, 0x00, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
inline constexpr IID IID_IActiveScript = {
    0xBB1A2AE1, 0xA4F9, 0x11CF, {0x8F, 0x20, 0x00, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};
inline constexpr IID IID_IActiveScriptParse = {
    0xC7EF7658, 0xE1EE, 0x480E, {0x97, 0xEA, 0xD5, 0x2C, 0xB4, 0xD7, 0x6D, 0x17}};
inline constexpr IID IID_IActiveScriptError = {
    0xEAE1BA61, 0xA4ED, 0x11CF, {0x8F, 0x20, 0x00, 0x80, 0x5F, 0x2C, 0xD0, 0x64}};

class IActiveScriptError : public IUnknown {
public:
    virtual HRESULT GetExceptionInfo(EXCEPINFO* excepInfo) = 0;
    virtual HRESULT GetSourcePosition(DWORD* sourceContext, ULONG* lineNumber,
                                      LONG* charPosition) = 0;
    virtual HRESULT GetSourceLineText(BSTR* sourceLine) = 0;

protected:
    ~IActiveScriptError() = default;
};

class IActiveScriptSite : public IUnknown {
public:
    virtual HRESULT GetLCID(LCID* lcid) = 0;
    virtual HRESULT GetItemInfo(LPCOLESTR name, DWORD returnMask, IUnknown** item,
                                ITypeInfo** typeInfo) = 0;
    virtual HRESULT GetDocVersionString(BSTR* version) = 0;
    virtual HRESULT OnScriptTerminate(const VARIANT* result, const EXCEPINFO* excepInfo) = 0;
    virtual HRESULT OnStateChange(SCRIPTSTATE state) = 0;
    virtual HRESULT OnScriptError(IActiveScriptError* error) = 0;
    virtual HRESULT OnEnterScript() = 0;
    virtual HRESULT OnLeaveScript() = 0;

protected:
    ~IActiveScriptSite() = default;
};

class IActiveScript : public IUnknown {
public:
    virtual HRESULT SetScriptSite(IActiveScriptSite* site) = 0;
    virtual HRESULT GetScriptSite(REFIID riid, void** object) = 0;
    virtual HRESULT SetScriptState(SCRIPTSTATE state) = 0;
    virtual HRESULT GetScriptState(SCRIPTSTATE* state) = 0;
    virtual HRESULT Close() = 0;
    virtual HRESULT AddNamedItem(LPCOLESTR name, DWORD flags) = 0;
    virtual HRESULT AddTypeLib(REFGUID typeLib, DWORD major, DWORD minor, DWORD flags) = 0;
    virtual HRESULT GetScriptDispatch(LPCOLESTR itemName, IDispatch** dispatch) = 0;
    virtual HRESULT GetCurrentScriptThreadID(SCRIPTTHREADID* thread) = 0;
    virtual HRESULT GetScriptThreadID(DWORD win32Thread, SCRIPTTHREADID* thread) = 0;
    virtual HRESULT GetScriptThreadState(SCRIPTTHREADID thread, SCRIPTTHREADSTATE* state) = 0;
    virtual HRESULT InterruptScriptThread(SCRIPTTHREADID thread, const EXCEPINFO* excepInfo,
                                          DWORD flags) = 0;
    virtual HRESULT Clone(IActiveScript** copy) = 0;

protected:
    ~IActiveScript() = default;
};

class IActiveScriptParse : public IUnknown {
public:
    virtual HRESULT InitNew() = 0;
    virtual HRESULT AddScriptlet(LPCOLESTR defaultName, LPCOLESTR code, LPCOLESTR itemName,
                                 LPCOLESTR subItemName, LPCOLESTR eventName, LPCOLESTR delimiter,
                                 DWORD_PTR sourceContextCookie, ULONG startingLineNumber,
                                 DWORD flags, BSTR* name, EXCEPINFO* excepInfo) = 0;
    virtual HRESULT ParseScriptText(LPCOLESTR code, LPCOLESTR itemName, IUnknown* context,
                                    LPCOLESTR delimiter, DWORD_PTR sourceContextCookie,
                                    ULONG startingLineNumber, DWORD flags, VARIANT* result,
                                    EXCEPINFO* excepInfo) = 0;

protected:
    ~IActiveScriptParse() = default;
};
