// Arbitrary text as a script, run through the scripting host and a call of
// `f`. Errors of every kind are shown through the message box and must never
// crash. The engine has no time limit, so texts that could loop or build
// huge values are passed over: a script that never ends hangs by design
// (an endless tail call too, which the engine runs as a loop).
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tarvex/core/hostui.h"
#include "tarvex/formula/activescriptinghost.h"
#include "tarvex/platform/codepage.h"

namespace {

int Quiet(const char16_t*, const char16_t*, UINT) {
    return IDOK;
}

bool MayNotEnd(std::string_view text) {
    for (std::string_view word : {"while", "for", "do", "Array", "repeat", "join", "fill", "eval",
                                  "Function", "padStart", "padEnd", "Proxy"})
        if (text.find(word) != std::string_view::npos) return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (size > 4096 || MayNotEnd(bytes)) return 0;
    tarvex::SetMessageBoxCallback(Quiet);
    auto* host = new ActiveScriptingHost;
    if (SUCCEEDED(host->SetScriptType(u"JavaScript"))) {
        VARIANT out;
        VariantInit(&out);
        const CString text = tarvex::FromUtf8(bytes);
        host->Execute(text, u"f", u"\u0430\U0001F600", &out);
        VariantClear(&out);
        host->Close();
    }
    host->Release();
    return 0;
}
