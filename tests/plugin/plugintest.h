// Helpers for the wrapper tests: owned interface pointers and the message of
// the exception a call throws.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/plugin/plugininterfaces.h"

// Runs `call` and gives the message of the CKVException it throws.
template <class Call>
std::u16string ThrownMessage(Call call) {
    try {
        call();
    } catch (const CKVException& e) {
        return std::u16string(e.GetMessageW().View());
    }
    ADD_FAILURE() << "no CKVException was thrown";
    return {};
}

// A BSTR released at the end of the scope.
struct ScopedBstr {
    ScopedBstr() = default;
    explicit ScopedBstr(const char16_t* text) : p(SysAllocString(text)) {}
    ScopedBstr(const ScopedBstr&) = delete;
    ScopedBstr& operator=(const ScopedBstr&) = delete;
    ~ScopedBstr() { SysFreeString(p); }
    std::u16string Text() const { return p ? std::u16string(p, SysStringLen(p)) : u""; }
    BSTR p = nullptr;
};

inline TarvexData::IFactoryInterface& Factory() {
    return TarvexData::CKVPluginInterfaces::GetInst();
}
