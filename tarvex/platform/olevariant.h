// COleVariant: a VARIANT that owns its value, with the familiar constructors
// and assignments. Unlike the familiar class it throws nothing: ChangeType
// returns the HRESULT of the conversion, and a string that can't be allocated
// leaves a null BSTR (which reads as empty).
#pragma once

#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"

class COleVariant : public tagVARIANT {
public:
    COleVariant() noexcept;
    COleVariant(const VARIANT& src) noexcept;
    COleVariant(LPCVARIANT src) noexcept; // null gives VT_EMPTY
    COleVariant(const COleVariant& src) noexcept;
    COleVariant(COleVariant&& src) noexcept;
    // VT_BSTR. The familiar class also takes VT_BSTRT for single-byte text;
    // text is always UTF-16 here, so every `vtSrc` gives an ordinary BSTR.
    COleVariant(const char16_t* text) noexcept;
    COleVariant(const char16_t* text, VARTYPE vtSrc) noexcept;
    COleVariant(const CString& text) noexcept;
    COleVariant(BYTE value) noexcept;                         // VT_UI1
    COleVariant(SHORT value, VARTYPE vtSrc = VT_I2) noexcept; // VT_I2 or VT_BOOL
    COleVariant(LONG value, VARTYPE vtSrc = VT_I4) noexcept;  // VT_I4, VT_ERROR or VT_BOOL
    COleVariant(LONGLONG value) noexcept;                     // VT_I8
    COleVariant(ULONGLONG value) noexcept;                    // VT_UI8
    COleVariant(float value) noexcept;                        // VT_R4
    // VT_R8, or VT_DATE with vtSrc: DATE is a double, so the familiar
    // separate date class is folded in here.
    COleVariant(double value, VARTYPE vtSrc = VT_R8) noexcept;
    ~COleVariant();

    COleVariant& operator=(const VARIANT& src) noexcept;
    COleVariant& operator=(LPCVARIANT src) noexcept;
    COleVariant& operator=(const COleVariant& src) noexcept;
    COleVariant& operator=(COleVariant&& src) noexcept;
    COleVariant& operator=(const char16_t* text) noexcept;
    COleVariant& operator=(const CString& text) noexcept;
    COleVariant& operator=(BYTE value) noexcept;
    // As in the familiar class, a VT_BOOL keeps its type (and a VT_ERROR too,
    // for LONG): the value is stored as -1/0 or as the code.
    COleVariant& operator=(SHORT value) noexcept;
    COleVariant& operator=(LONG value) noexcept;
    COleVariant& operator=(LONGLONG value) noexcept;
    COleVariant& operator=(ULONGLONG value) noexcept;
    COleVariant& operator=(float value) noexcept;
    COleVariant& operator=(double value) noexcept; // always VT_R8

    // Same type and same value. Texts compare by their bytes, objects by
    // identity, arrays by bounds and elements.
    bool operator==(const VARIANT& other) const noexcept;
    bool operator==(LPCVARIANT other) const noexcept;
    bool operator==(const COleVariant& other) const noexcept {
        return *this == static_cast<const VARIANT&>(other);
    }
    bool operator!=(const VARIANT& other) const noexcept { return !(*this == other); }

    operator LPVARIANT() noexcept { return this; }
    operator LPCVARIANT() const noexcept { return this; }

    void Clear() noexcept;
    // Converts `src` (this variant when null) to `vartype` into this variant.
    // On failure this variant is unchanged and the error is returned.
    HRESULT ChangeType(VARTYPE vartype, LPVARIANT src = nullptr) noexcept;
    // Takes over the value of `src`, which is left VT_EMPTY.
    void Attach(VARIANT& src) noexcept;
    // Gives the value away; this variant is left VT_EMPTY.
    VARIANT Detach() noexcept;
    void SetString(const char16_t* text, VARTYPE vtSrc) noexcept;
};

// Same type and value, as COleVariant::operator==.
bool TxVariantEqual(const VARIANT& a, const VARIANT& b) noexcept;
