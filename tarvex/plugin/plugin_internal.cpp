#include "tarvex/plugin/plugin_internal.h"

#include <new>

namespace TarvexData::detail {

CString CodePos(const char* implName, const char* operation, int line) {
    CString result;
    result.Format(u"%S::%S (Line %d)", implName, operation, line);
    return result;
}

void ThrowWrongArgType(const char16_t* operation, const char16_t* required, const char* implName,
                       const char* function, int line) {
    CString message;
    message.Format(u"Метод %s поддерживает только аргумент типа %s", operation, required);
    throw CKVException(message, CodePos(implName, function, line));
}

void ThrowNullArg(const char* argName, const char* implName, const char* function, int line) {
    CString message;
    message.Format(u"Expression \"%S\" can''t be NULL", argName);
    throw CKVException(message, CodePos(implName, function, line));
}

void StoreBstr(BSTR* target, const char16_t* text, int length) {
    if (!SysReAllocStringLen(target, text, static_cast<UINT>(length))) throw std::bad_alloc();
}

} // namespace TarvexData::detail
