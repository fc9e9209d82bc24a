// Built-in functions that take their arguments from consecutive slots.
#include "tarvex/formula/function.h"

void CFunction::Like(VARIANT& a, VARIANT& b) {
    (void)a;
    (void)b;
    throw CSyntaxError(113u);
}

void CFunction::CallFunction(const CToken* token, VARIANT* args, int n) {
    (void)token;
    (void)args;
    (void)n;
    throw CSyntaxError(113u);
}

bool CFunction::ParseDateTime(const char16_t*, double&) {
    return false;
}

bool CFunction::FormatDateTime(const double&, CString& out) {
    out.Empty();
    return true;
}

bool CFunction::UtcTimeToLocalTime(double&) {
    return false;
}
