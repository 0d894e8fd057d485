// The factor in front of the incomplete beta function's continued fraction.
#pragma once

#include <cmath>

#include "special/gamma.h"

namespace tessel {

// x^a y^b / B(a, b) for y = 1 - x. Both are passed, so that neither loses digits where the other is close to 1:
// I_x(a, b) = BetaFactor(x, y, a, b) * BetaFraction(x, a, b) / a.
inline double BetaFactor(double x, double y, double a, double b) {
  const double logX = x < 0.5 ? std::log(x) : std::log1p(-y);
  const double logY = y < 0.5 ? std::log(y) : std::log1p(-x);
  return std::exp(a * logX + b * logY - LogBeta(a, b));
}

}  // namespace tessel
