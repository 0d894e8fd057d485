// The standard normal distribution.
//
// All functions take any double. A missing value passed in comes out as a missing value.
//
// Accuracy of NormalTail, as measured against 50-digit values at 17000 points: 1.6e-16 absolute, but 1.1e-15 as |x|
// approaches 0.3 sqrt(2) from below; the upper tail holds 8e-14 of its value up to x = 9.75 and 5e-11 beyond. It is 0
// from x = 36.35 on.
//
// Literature: Hill, Algorithm AS 66: the normal integral, Applied Statistics 22 (1973), 424-427, for the far tail. The
// polynomials of the rest are fitted by tools/special_normal_tables.py.
#pragma once

#include "special/tail.h"

namespace tessel {

// P(Z <= x) or P(Z > x).
double NormalTail(double x, Tail tail);

// P(Z <= x).
double NormalCdf(double x);

// exp(-x^2/2) / sqrt(2 pi).
double NormalDensity(double x);

}  // namespace tessel
