// How test failures show the library's strings: as UTF-8 text. Included into
// every test file by the build, so all of them print CString alike.
#pragma once

#include <ostream>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/cstring.h"

inline std::ostream& operator<<(std::ostream& os, const CString& text) {
    return os << '"' << tarvex::ToUtf8(text.View()) << '"';
}

inline void PrintTo(const CString& text, std::ostream* os) {
    *os << text;
}
