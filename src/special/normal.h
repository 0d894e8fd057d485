// The standard normal distribution.
//
// A missing value passed in comes out as a missing value.
#pragma once

namespace tessel {

// P(Z > x) if `upper` is not 0, else P(Z <= x).
double NormalTail(double x, int upper);

// P(Z <= x).
double NormalCdf(double x);

// The density at x.
double NormalDensity(double x);

}  // namespace tessel
