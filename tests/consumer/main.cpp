// A program outside the project, built against the installed package.
#include <cstdio>

#include "tarvex/tarvex.h"

int main() {
    CParam param(u"Длина", u"12.5", nullptr, nullptr);
    CString upper = param.UpperName();
    if (upper != u"ДЛИНА" || _wtof(param.getstrValue()) != 12.5) return 1;
    std::printf("consumer linked tarvex %s\n", TARVEX_VERSION_STRING);
    return 0;
}
