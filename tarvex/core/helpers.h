// Small helpers over the platform: environment, module folder, registry,
// timestamps, a Boolean scope guard and the clipboard.
#pragma once

#include "tarvex/platform/cstring.h"
#include "tarvex/platform/module.h"
#include "tarvex/platform/timestamp.h"

class CKVEnvVariableHelper {
public:
    // Non-zero on success; a null value removes the variable.
    static BOOL Set(const char16_t* name, const char16_t* value);
    // The length result of GetEnvironmentVariableW; `out` is set only when it
    // is non-zero. Values of 512 characters or more are not supported: `out`
    // is then empty and the result is the size they would need.
    static DWORD Get(const char16_t* name, CString& out);
};

class CModuleHelper {
public:
    // The folder of the module's file without the trailing separator; null is
    // the executable. Empty when the file name cannot be had.
    static CString GetPath(HMODULE module);
};

class CRegistryHelper {
public:
    // There is no registry on this platform: always false, `out` untouched.
    static bool GetRegVal(const char16_t* subKey, const char16_t* valueName, CString& out);
};

class CKVDataHelper {
public:
    // 1, -1 or 0 by year (signed), month, day, hour, minute, second, fraction.
    static int ComapreDBTimes(const tagTIMESTAMP_STRUCT& a, const tagTIMESTAMP_STRUCT& b);
};

// Sets a flag for the lifetime of the holder and restores the old value on
// exit from the scope.
class CKVBoolenValueHolder {
public:
    CKVBoolenValueHolder(bool* pointer, bool value) : m_pValue(pointer) {
        if (m_pValue == nullptr) return;
        m_bOldValue = *m_pValue;
        *m_pValue = value;
    }
    ~CKVBoolenValueHolder() {
        if (m_pValue != nullptr) *m_pValue = m_bOldValue;
    }
    CKVBoolenValueHolder(const CKVBoolenValueHolder&) = delete;
    CKVBoolenValueHolder& operator=(const CKVBoolenValueHolder&) = delete;

private:
    bool* m_pValue;
    bool m_bOldValue = false;
};

class CKVClipboardHelper {
public:
    static bool SetClipboardText(const char16_t* text);
    static bool GetClipboardText(CString& out);
};
