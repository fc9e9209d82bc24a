// Rounding, integer powers and the choice of a Russian noun form after a
// number. Global, as the rest of the library calls them unqualified.
#pragma once

// Rounds half away from zero to a 32-bit integer. A result outside the
// 32-bit range, or NaN, gives INT32_MIN, as the processor's conversion does.
int iround(double x);

// Rounds half away from zero, as a double.
double tx_round(double x);

// x to the power n by |n| repeated multiplications (the reciprocal for a
// negative n), so results match those computed that way before. npow(x, 0)
// is 1 for every x.
double npow(double x, int n);

// 1 for "1 день", 2 for "2 дня", 3 for "5 дней": 3 when n modulo 100 is 10 to
// 19 or the last digit is 0 or 5 to 9, else 1 for a last digit below 2, else
// 2. The remainders keep the sign of n, so a negative n with a non-zero last
// digit gives 1.
int getWordFormCode(int n);
