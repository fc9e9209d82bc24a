#include "tarvex/core/helpers.h"

#include "tarvex/platform/clipboard.h"
#include "tarvex/platform/environment.h"

namespace {

constexpr DWORD kEnvBufferLength = 512;
constexpr DWORD kMaxPath = 260;

template <class T>
int Order(T a, T b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

} // namespace

BOOL CKVEnvVariableHelper::Set(const char16_t* name, const char16_t* value) {
    return SetEnvironmentVariableW(name, value);
}

DWORD CKVEnvVariableHelper::Get(const char16_t* name, CString& out) {
    // Zeroed, so a value too long for the buffer reads as empty text rather
    // than whatever the buffer held.
    char16_t buffer[kEnvBufferLength] = {};
    const DWORD length = GetEnvironmentVariableW(name, buffer, kEnvBufferLength);
    if (length != 0) out = length < kEnvBufferLength ? CString(buffer, int(length)) : CString();
    return length;
}

CString CModuleHelper::GetPath(HMODULE module) {
    char16_t buffer[kMaxPath + 1] = {};
    const DWORD length = GetModuleFileNameW(module, buffer, kMaxPath);
    if (length == 0) return CString();
    const CString file(buffer, int(length < kMaxPath ? length : kMaxPath));
    const int slash = file.ReverseFind(u'/');
    const int backslash = file.ReverseFind(u'\\');
    return file.Left(slash > backslash ? slash : backslash);
}

bool CRegistryHelper::GetRegVal(const char16_t*, const char16_t*, CString&) {
    return false;
}

int CKVDataHelper::ComapreDBTimes(const tagTIMESTAMP_STRUCT& a, const tagTIMESTAMP_STRUCT& b) {
    if (int order = Order(a.year, b.year)) return order;
    if (int order = Order(a.month, b.month)) return order;
    if (int order = Order(a.day, b.day)) return order;
    if (int order = Order(a.hour, b.hour)) return order;
    if (int order = Order(a.minute, b.minute)) return order;
    if (int order = Order(a.second, b.second)) return order;
    return Order(a.fraction, b.fraction);
}

bool CKVClipboardHelper::SetClipboardText(const char16_t* text) {
    return tarvex::SetClipboardText(text);
}

bool CKVClipboardHelper::GetClipboardText(CString& out) {
    return tarvex::GetClipboardText(out);
}
