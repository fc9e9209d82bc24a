// Helpers shared by the element members that need the formula layer.
#pragma once

#include "tarvex/platform/cstring.h"
#include "tarvex/platform/wide.h"

namespace tarvex::elementcalc {

// True for a text of white space only.
inline bool IsBlank(const CString& text) {
    for (int i = 0; i < text.GetLength(); ++i)
        if (!iswspace16(text[i])) return false;
    return true;
}

} // namespace tarvex::elementcalc
