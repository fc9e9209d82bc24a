// The thread's error object: a failing call leaves a description for its
// caller with SetErrorInfo, and the caller takes it with GetErrorInfo.
#pragma once

#include "tarvex/platform/unknown.h"

class IErrorInfo : public IUnknown {
public:
    virtual HRESULT GetGUID(GUID* guid) = 0;
    virtual HRESULT GetSource(BSTR* source) = 0;
    virtual HRESULT GetDescription(BSTR* description) = 0;
    virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;

protected:
    ~IErrorInfo() = default;
};

class ICreateErrorInfo : public IUnknown {
public:
    virtual HRESULT SetGUID(REFGUID guid) = 0;
    virtual HRESULT SetSource(LPOLESTR source) = 0;
    virtual HRESULT SetDescription(LPOLESTR description) = 0;
    virtual HRESULT SetHelpFile(LPOLESTR helpFile) = 0;
    virtual HRESULT SetHelpContext(DWORD helpContext) = 0;

protected:
    ~ICreateErrorInfo() = default;
};

class ISupportErrorInfo : public IUnknown {
public:
    virtual HRESULT InterfaceSupportsErrorInfo(REFIID riid) = 0;

protected:
    ~ISupportErrorInfo() = default;
};

// A new, empty error object; QueryInterface gives its IErrorInfo. The
// getters hand out new BSTRs (null for a field never set).
HRESULT CreateErrorInfo(ICreateErrorInfo** info) noexcept;

// Replaces the thread's error object, holding a new reference; null clears it.
HRESULT SetErrorInfo(DWORD reserved, IErrorInfo* info) noexcept;

// Hands the thread's error object to the caller, who then owns the reference,
// and empties the slot. S_FALSE and null when there is none.
HRESULT GetErrorInfo(DWORD reserved, IErrorInfo** info) noexcept;
