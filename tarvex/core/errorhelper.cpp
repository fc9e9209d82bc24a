#include <ctime>

#include "tarvex/core/log.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/errorinfo.h"
#include "tarvex/platform/syserror.h"

namespace {

// The Direct3D framework's own failure codes, which hosts still report
// through this helper.
constexpr HRESULT kD3DFirst = static_cast<HRESULT>(0x80040901);
constexpr HRESULT kD3DNoDevices = static_cast<HRESULT>(0x80040902);
constexpr HRESULT kD3DLast = static_cast<HRESULT>(0x80040909);

const char16_t* const kD3DTexts[] = {
    u"Could not initialize Direct3D. You may want to check that the latest version of DirectX "
    u"is correctly installed on your system.  Also make sure that this program was compiled "
    u"with header files that match the installed DirectX DLLs.",
    u"Could not find any compatible Direct3D devices.",
    u"Could not find required media. Ensure that the DirectX SDK is correctly installed.",
    u"The D3D device has a non-zero reference count, meaning some objects were not released.",
    u"Failed creating the Direct3D device.",
    u"Failed resetting the Direct3D device.",
    u"Failed creating Direct3D device objects.",
    u"Failed resetting Direct3D device objects.",
    u"Incorrect version of Direct3D and/or D3DX.",
};

// There are no remote desktop sessions to tell apart here, so a missing
// device is never blamed on one.
bool IsRemoteSession() {
    return false;
}

bool InRange(HRESULT code) {
    auto value = static_cast<DWORD>(code);
    return value >= static_cast<DWORD>(kD3DFirst) && value <= static_cast<DWORD>(kD3DLast);
}

// The system text without its trailing line breaks, as exceptions show it.
CString SystemText(DWORD code) {
    char16_t buffer[254] = {};
    int n =
        static_cast<int>(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, code, 0, buffer, 254, nullptr));
    while (n > 0 && buffer[n - 1] < 32) --n;
    return CString(buffer, n);
}

} // namespace

void CKVErrorHelper::LogErrorMessage(const char16_t* prefix, const char16_t* detail,
                                     const char16_t* place) {
    if (!CTXLog::IsEnabled()) return;
    CString text;
    text.Format(u"%s%s", prefix ? prefix : u"", detail ? detail : u"");
    CTXLog::Error(place, text);
}

void CKVErrorHelper::LogErrorMessage(const char16_t* text, const char16_t* place) {
    CTXLog::Error(place, text);
}

void CKVErrorHelper::LogErrorMessage(HRESULT code, const char16_t* place, const char16_t* prefix) {
    CString message;
    GetLastErrorMessage(code, message);
    if (prefix) {
        CString text;
        text.Format(u"%s {%s}", prefix, message);
        message = text;
    }
    CTXLog::Error(place, message);
}

void CKVErrorHelper::GetLastErrorMessage(HRESULT code, CString& out) {
    // Taken first in every case, so a stale description does not linger for
    // the next caller.
    IErrorInfo* errorInfo = nullptr;
    if (GetErrorInfo(0, &errorInfo) != S_OK) errorInfo = nullptr;

    if (InRange(code)) {
        const char16_t* text = kD3DTexts[static_cast<DWORD>(code) - static_cast<DWORD>(kD3DFirst)];
        if (code == kD3DNoDevices && IsRemoteSession())
            text = u"Direct3D does not work over a remote session.";
        out.Format(u"%s Error code 0x%x.", text, code);
    } else if (errorInfo) {
        BSTR description = nullptr;
        if (SUCCEEDED(errorInfo->GetDescription(&description)) && description)
            out = CString(description, static_cast<int>(SysStringLen(description)));
        else
            out.Empty();
        SysFreeString(description);
    } else {
        out = SystemText(static_cast<DWORD>(code));
        if (!out.IsEmpty()) out += u". ";
        out.AppendFormat(u"Error code 0x%x.", code);
    }
    if (errorInfo) errorInfo->Release();
}

void CKVErrorHelper::LogMessage(const char16_t* text, const char16_t* tag) {
    if (!CTXLog::IsEnabled()) return;
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    CString time;
    time.Format(u"%.2d.%.2d.%.4d %.2d:%.2d:%.2d", local.tm_mday, local.tm_mon + 1,
                local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec);
    CString line;
    if (tag && *tag)
        line.Format(u"[%s][RDXComponent.%s] %s \r\n", time, tag, text ? text : u"");
    else
        line.Format(u"[%s][RDXComponent] %s \r\n", time, text ? text : u"");
    CTXLog::Line(line);
}
