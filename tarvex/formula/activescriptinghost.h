// ActiveScriptingHost: runs a script text in a script engine chosen by its
// ProgID and calls one function of it, taking the result as text. A thin
// site over the Active Scripting interfaces; the formula language does not
// reach it.
//
// Script errors are shown to the user through the message box (a host's
// callback, see core/hostui.h). A script that never ends hangs the caller:
// the engine has no time limit.
#pragma once

#include <atomic>

#include "tarvex/platform/activscp.h"
#include "tarvex/platform/variant.h"

class ActiveScriptingHost : public IActiveScriptSite {
public:
    // Starts with one reference, the creator's: the engine holds another
    // while it is open, so that Close cannot delete the host under its caller.
    ActiveScriptingHost() = default;

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;
    HRESULT GetLCID(LCID* lcid) override;
    HRESULT GetItemInfo(LPCOLESTR name, DWORD returnMask, IUnknown** item,
                        ITypeInfo** typeInfo) override;
    HRESULT GetDocVersionString(BSTR* version) override;
    HRESULT OnScriptTerminate(const VARIANT* result, const EXCEPINFO* excepInfo) override;
    HRESULT OnStateChange(SCRIPTSTATE state) override;
    // Shows the error's description, source, line text and position, and
    // answers S_OK so that the engine goes on.
    HRESULT OnScriptError(IActiveScriptError* error) override;
    HRESULT OnEnterScript() override;
    HRESULT OnLeaveScript() override;
    virtual ~ActiveScriptingHost();

    // Creates the engine of `progId` ("JavaScript"), sets this site and
    // initialises it. CO_E_CLASSSTRING for an unknown ProgID.
    virtual HRESULT SetScriptType(const char16_t* progId);
    // Parses the text, then connects the engine so that it runs. A failed
    // parse answers its code and leaves the engine as it was.
    virtual HRESULT ParseScript(const char16_t* text);
    // Parses `script`, calls `function` with `arg` as its one text argument
    // and changes the result to text in `out`; answers that change's code.
    // E_FAIL before SetScriptType.
    virtual HRESULT Execute(const char16_t* script, const char16_t* function, const char16_t* arg,
                            VARIANT* out);
    // The same with no argument.
    virtual HRESULT Execute(const char16_t* script, const char16_t* function, VARIANT* out);
    // Disconnects and closes the engine and lets it go. E_FAIL without one.
    virtual HRESULT Close();

private:
    void ReleaseEngine();
    HRESULT Call(const char16_t* script, const char16_t* function, const char16_t* arg,
                 VARIANT* out);

    std::atomic<ULONG> m_nRefs{1};
    IActiveScript* m_pScript = nullptr;
    IActiveScriptParse* m_pParse = nullptr;
};
