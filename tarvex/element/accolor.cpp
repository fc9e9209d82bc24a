#include "tarvex/element/accolor.h"

#include "tarvex/platform/wide.h"

bool CAcColor::IsIndex() const {
    ParseBuffer();
    return m_bIsIndex;
}

bool CAcColor::IsIndexEq(std::int32_t index) const {
    ParseBuffer();
    return m_bIsIndex && static_cast<std::int32_t>(m_nValue) == index;
}

std::int32_t CAcColor::AcIndex() const {
    ParseBuffer();
    return static_cast<std::int32_t>(m_nValue);
}

std::uint32_t CAcColor::AcRgb() const {
    ParseBuffer();
    return m_nValue;
}

void CAcColor::SetAcIndex(std::int32_t index) {
    m_nValue = static_cast<std::uint32_t>(index);
    m_bIsIndex = true;
    m_bPending = false;
}

void CAcColor::SetAcRgb(std::uint32_t rgb) {
    m_nValue = rgb;
    m_bIsIndex = false;
    m_bPending = false;
}

CString& CAcColor::StringBuffer() {
    ParseBuffer();
    Format(m_strBuffer);
    m_bPending = true;
    return m_strBuffer;
}

void CAcColor::ParseBuffer() const {
    if (!m_bPending) return;
    // Parsing only changes the colour's value, which is what a read reveals.
    const_cast<CAcColor*>(this)->Parse(CString(m_strBuffer));
}

void CAcColor::ResetBuffer() {
    m_bPending = false;
    m_strBuffer.Empty();
}

void CAcColor::Format(CString& out) const {
    ParseBuffer();
    if (m_bIsIndex)
        out.Format(u"%d", static_cast<std::int32_t>(m_nValue));
    else
        out.Format(u"\"RGB(%d,%d,%d)\"", m_nValue & 0xFF, (m_nValue >> 8) & 0xFF,
                   (m_nValue >> 16) & 0xFF);
}

bool CAcColor::Parse(const char16_t* text) {
    SetAcIndex(0);
    if (!text || !*text) return false;
    CString s(text);
    s.Trim();
    if (s.IsEmpty()) return false;
    if (s[0] == u'"') s.Delete(0);
    if (!s.IsEmpty() && s[s.GetLength() - 1] == u'"') s.Delete(s.GetLength() - 1);
    s.Trim();
    if (s.IsEmpty()) return false;
    s.MakeUpper();

    if (s.Left(3) == u"RGB") {
        s.Delete(0, 3);
        s.TrimLeft();
        if (s.IsEmpty() || s[0] != u'(' || s[s.GetLength() - 1] != u')') return false;
        s = s.Mid(1, s.GetLength() - 2);
        s.Trim();
        std::int32_t channel[3];
        int count = 0, position = 0;
        while (count < 3) {
            CString token = s.Tokenize(u", ", position);
            if (position < 0) break;
            channel[count++] = _wtoi(token);
        }
        if (count < 3) return false;
        // Red and green are not clipped: an oversized value spills over.
        SetAcRgb(static_cast<std::uint32_t>(channel[0]) |
                 static_cast<std::uint32_t>(channel[1]) << 8 |
                 (static_cast<std::uint32_t>(channel[2]) & 0xFF) << 16);
        return true;
    }
    if (iswdigit16(s[0]) || s[0] == u'-') {
        SetAcIndex(_wtoi(s));
        return true;
    }
    return false;
}

bool CAcColor::operator==(const CAcColor& other) const {
    ParseBuffer();
    other.ParseBuffer();
    return m_nValue == other.m_nValue && m_bIsIndex == other.m_bIsIndex;
}

bool CAcColor::operator<(const CAcColor& other) const {
    ParseBuffer();
    other.ParseBuffer();
    if (m_bIsIndex != other.m_bIsIndex) return !m_bIsIndex;
    return m_nValue < other.m_nValue;
}
