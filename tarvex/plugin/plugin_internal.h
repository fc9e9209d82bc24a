// Argument checks and BSTR output shared by the wrappers.
#pragma once

#include <memory>

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/cstring.h"

namespace TarvexData::detail {

// "Class::Operation (Line N)".
CString CodePos(const char* implName, const char* operation, int line);

// The refusal of an argument that is not the library's own wrapper.
[[noreturn]] void ThrowWrongArgType(const char16_t* operation, const char16_t* required,
                                    const char* implName, const char* function, int line);

// Fills a caller's BSTR, reusing the string already there.
void StoreBstr(BSTR* target, const char16_t* text, int length);
inline void StoreBstr(BSTR* target, const CString& text) {
    StoreBstr(target, text, text.GetLength());
}

// The interface pointer handed out with its first reference.
template <class Interface, class Impl>
Interface* HandOut(Impl* impl) {
    Interface* result = impl;
    result->AddRef();
    return result;
}

[[noreturn]] void ThrowNullArg(const char* argName, const char* implName, const char* function,
                               int line);

template <class Impl, class Interface>
const Impl* DownCast(const Interface* pointer, const char* argName, const char16_t* operation,
                     const char16_t* required, const char* implName, const char* function,
                     int line) {
    if (pointer == nullptr) ThrowNullArg(argName, implName, function, line);
    auto* impl = dynamic_cast<const Impl*>(pointer);
    if (impl == nullptr) ThrowWrongArgType(operation, required, implName, function, line);
    return impl;
}

// A new owning wrapper over `object`, handed out with its first reference.
template <class Interface, class Impl, class Object>
Interface* HandOutOwning(std::unique_ptr<Object> object) {
    Interface* result = new Impl(object.get(), true);
    object.release();
    result->AddRef();
    return result;
}

} // namespace TarvexData::detail

// A null argument names itself as written at the call, like KV_CHECK_NOT_NULL,
// with the wrapper's class in the code position.
#define TX_CHECK_ARG(implName, expression)                                                         \
    do {                                                                                           \
        if ((expression) == nullptr)                                                               \
            ::TarvexData::detail::ThrowNullArg(#expression, implName, __func__, __LINE__);         \
    } while (0)

// The wrapper behind an interface argument, or the refusal naming the
// operation and the class it needs.
#define TX_DOWNCAST(Impl, implName, operation, required, pointer)                                  \
    ::TarvexData::detail::DownCast<Impl>(pointer, #pointer, operation, required, implName,         \
                                         __func__, __LINE__)
