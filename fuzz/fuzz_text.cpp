// Arbitrary bytes through the text layer: code pages, number reading,
// formatting of the result and colour parsing must never misbehave.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tarvex/tarvex.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CString text = tarvex::FromUtf8(bytes);
    tarvex::EncodeCodePage(CP_WINDOWS_1251, text.View());
    tarvex::DecodeCodePage(CP_DOS_866, bytes);

    CString out;
    out.Format(u"%d|%.12f|%s", _wtoi(text), _wtof(text), text);
    CParam param(text, text, nullptr, text);
    param.IsCalculated();
    param.UpperName();
    CAcColor color;
    color.Parse(text);
    color.Format(out);
    return 0;
}
