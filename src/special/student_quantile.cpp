// The t quantile: the Cornish-Fisher expansion of Abramowitz and Stegun 26.7.5, refined by Newton's iteration.
#include <cmath>

#include "core/missing.h"
#include "special/distributions.h"
#include "special/quantiles.h"

namespace tessel {
namespace {

double CornishFisher(double z, double n) {
  const double z2 = z * z;
  const double g1 = z * (z2 + 1) / 4;
  const double g2 = z * ((5 * z2 + 16) * z2 + 3) / 96;
  const double g3 = z * (((3 * z2 + 19) * z2 + 17) * z2 - 15) / 384;
  const double g4 = z * ((((79 * z2 + 776) * z2 + 1482) * z2 - 1920) * z2 - 945) / 92160;
  return z + g1 / n + g2 / (n * n) + g3 / (n * n * n) + g4 / (n * n * n * n);
}

}  // namespace

double StudentQuantile(double p, int df) {
  if (IsMissing(p) || df < 1) return MissingValue();
  if (p <= 0) return -PositiveInfinity();
  if (p >= 1) return PositiveInfinity();
  double x = CornishFisher(NormalQuantile(p), df);
  for (int iteration = 0; iteration < 40; ++iteration) {
    const double d = p - StudentCdf(x, df);
    const double step = d / StudentDensity(x, df);
    x += step;
    if (std::fabs(d) < 1e-10 && std::fabs(step) < 1e-10) break;
  }
  return x;
}

}  // namespace tessel
