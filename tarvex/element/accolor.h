// CAcColor: an AutoCAD-style colour, either an index or RGB packed with red
// in the low byte, kept beside parameters because it lives in their text.
//
// A reader may write text straight into StringBuffer(); the colour parses it
// at the next read, so every reader below first settles a pending text.
#pragma once

#include "tarvex/platform/cstring.h"

class CAcColor {
public:
    CAcColor() = default;
    explicit CAcColor(std::int32_t index) : m_nValue(static_cast<std::uint32_t>(index)) {}
    explicit CAcColor(std::uint32_t rgb) : m_nValue(rgb), m_bIsIndex(false) {}
    explicit CAcColor(const char16_t* text) { Parse(text); }

    bool IsIndex() const;
    bool IsIndexEq(std::int32_t index) const;
    bool IsIndexNotEq(std::int32_t index) const { return !IsIndexEq(index); }
    std::int32_t AcIndex() const;
    std::uint32_t AcRgb() const;
    std::uint8_t AcR() const { return static_cast<std::uint8_t>(AcRgb()); }
    std::uint8_t AcG() const { return static_cast<std::uint8_t>(AcRgb() >> 8); }
    std::uint8_t AcB() const { return static_cast<std::uint8_t>(AcRgb() >> 16); }

    void SetAcIndex(std::int32_t index);
    void SetAcRgb(std::uint32_t rgb);

    // Formats the colour into the buffer and marks it pending; the caller may
    // overwrite the text, which the next read parses.
    CString& StringBuffer();
    void ParseBuffer() const;
    void ResetBuffer();

    // "%d" for an index, "\"RGB(%d,%d,%d)\"" (quotes included) for RGB.
    void Format(CString& out) const;
    // An index ("7", "-1") or "RGB(r, g, b)", optionally in double quotes, in
    // any case. On failure the colour is index 0.
    bool Parse(const char16_t* text);

    bool operator==(const CAcColor& other) const;
    bool operator!=(const CAcColor& other) const { return !(*this == other); }
    // RGB colours sort before index colours, each by value.
    bool operator<(const CAcColor& other) const;

private:
    mutable std::uint32_t m_nValue = 0;
    mutable bool m_bIsIndex = true;
    mutable bool m_bPending = false;
    mutable CString m_strBuffer;
};
