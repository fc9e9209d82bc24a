// The text of a stored number.
//
// Every double the library writes into a parameter, a stream or a grid goes
// through DblToString: `digits` decimals (12 when negative), rounded once more
// on the text, trailing zeros dropped, and never an exponent.
#pragma once

#include "tarvex/platform/cstring.h"

namespace tarvex {

CString DblToString(double value, int digits = 12);
void DblToString(CString& out, double value);

} // namespace tarvex
