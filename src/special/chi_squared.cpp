// The chi-squared distribution: Abramowitz and Stegun 26.4.1, 26.4.19.
#include <cmath>

#include "core/missing.h"
#include "special/distributions.h"
#include "special/gamma.h"

namespace tessel {

double ChiTail(double x, double df) { return IncompleteGamma(x / 2, df / 2, Tail::Upper); }

double ChiDensity(double x, double df) {
  if (x <= 0 || x == PositiveInfinity()) return 0;
  const double h = df / 2;
  return std::exp(h * std::log(0.5) - LogGamma(h) + (h - 1) * std::log(x) - x / 2);
}

}  // namespace tessel
