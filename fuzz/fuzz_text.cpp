// Arbitrary bytes through every text reader of the lower layers: code pages,
// numbers, GUIDs, colours, vectors, path steps, value comparison and variant
// conversion must never misbehave, whatever they are given.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tarvex/tarvex.h"

namespace {

void ConvertFromText(const CString& text) {
    static const VARTYPE kTargets[] = {VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BOOL, VT_UI4, VT_I8};
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = text.AllocSysString();
    for (VARTYPE target : kTargets) {
        VARIANT result;
        VariantInit(&result);
        if (SUCCEEDED(VariantChangeType(&result, &source, 0, target))) {
            VARIANT back;
            VariantInit(&back);
            VariantChangeType(&back, &result, 0, VT_BSTR);
            VariantClear(&back);
        }
        VariantClear(&result);
    }
    VariantClear(&source);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CString text = tarvex::FromUtf8(bytes);
    tarvex::EncodeCodePage(CP_WINDOWS_1251, text.View());
    tarvex::DecodeCodePage(CP_DOS_866, bytes);

    CString out;
    out.Format(u"%d|%.12f|%s", _wtoi(text), _wtof(text), text);
    out = tarvex::DblToString(_wtof(text));

    CParam param(text, text, nullptr, text);
    param.IsCalculated();
    CAcColor color;
    color.Parse(text);
    color.Format(out);

    _GUID guid;
    CGUIDHelper::TryStringToGuid(text, guid);
    CTXVector3d vector;
    CTXVector3d::TryParse(text, vector);
    vector.ToString();
    std::uint32_t rgb;
    CKVStringHelper::HTMLColorToColor(text, rgb);
    CKVStringHelper::ExtractFilePath(text);

    int position = 0, index = 0;
    CString name;
    CElement::GetStructFilter(text, position, name, index);
    int half = text.GetLength() / 2;
    CParamsOwner::CompareValues(text.Left(half), text.Mid(half));

    ConvertFromText(text);
    return 0;
}
