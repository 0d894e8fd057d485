// Derivatives by central differences: f'(v) = (f(v + s) - f(v - s)) / (2 s) + O(s^2).
//
// The step is s = max((|v| + 1e-8) 1e-8, 5e-6). Up to |v| of about 500 it is the floor 5e-6, near the cube root of the
// double precision, which balances the truncation error s^2 |f'''| / 6 with the rounding error, about 1e-16 |f| / s.
// Beyond it the step grows with |v|, to stay visible in v + s.
#pragma once

#include <algorithm>
#include <cmath>

namespace tessel {

inline double CentralStep(double v) { return std::max((std::fabs(v) + 1e-8) * 1e-8, 5e-6); }

// Calls evaluate(sign) with *cell at v + s (sign 1) and then at v - s (sign -1), v the value before, and puts v back.
// Returns 2 s, the divisor of the difference.
template <class Evaluate>
double EvaluateOnBothSides(double *cell, Evaluate evaluate) {
  const double v = *cell, s = CentralStep(v);
  for (const int sign : {1, -1}) {
    *cell = v + sign * s;
    evaluate(sign);
  }
  *cell = v;
  return 2 * s;
}

}  // namespace tessel
