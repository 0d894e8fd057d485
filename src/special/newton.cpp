// SafeguardedNewton: Newton's iteration for a distribution function, inside a bracket.
#include <cmath>

#include "core/missing.h"
#include "special/quantiles.h"

namespace tessel {
namespace {

struct Bracket {
  double low, high;
  double fLow = -1, fHigh = 2;
  bool hasLow = std::isfinite(low), hasHigh = std::isfinite(high);

  bool Closed() const { return hasLow && hasHigh; }
  double Middle() const { return (high + low) / 2; }

  // x0, or a point just inside the bracket.
  double Inside(double x0) const {
    if (hasLow && low > x0) x0 = low + (std::fabs(low) + 1) * 1e-6;
    if (hasHigh && x0 > high) x0 = high - (std::fabs(high) + 1) * 1e-6;
    return x0;
  }

  // Takes x as an end if F there is on p's side and no worse than the end's.
  void Tighten(double x, double F, double d) {
    if (d > 0 && F >= fLow) low = x, fLow = F, hasLow = true;
    if (d < 0 && fHigh >= F) high = x, fHigh = F, hasHigh = true;
  }

  // The point after x for a Newton step s: half way to an end that the step would reach, further out where there is
  // neither an end nor a slope.
  double After(double x, double s) const {
    if (hasLow && low >= x + s) return hasHigh ? Middle() : (low + x) / 2;
    if (hasHigh && x + s >= high) return hasLow ? Middle() : (high + x) / 2;
    return std::isinf(x + s) ? std::copysign(2 * std::fabs(x) + 1, s) : x + s;
  }
};

}  // namespace

double SafeguardedNewton(double p, double x0, const NewtonProblem &problem) {
  const auto &[cdf, density, a, b, low, high, maxIter, tolerance] = problem;
  if (p <= 0) return low;
  if (p >= 1) return high;

  Bracket bracket = {low, high};
  double x = bracket.Inside(x0);
  double F = 2;
  for (int iteration = 0; iteration < maxIter; ++iteration) {
    const double previous = F;
    F = cdf(x, a, b);
    const double d = p - F;
    if (d == 0 || (F == previous && bracket.high - bracket.low < 2.220446049250313e-16)) break;
    bracket.Tighten(x, F, d);
    if (bracket.Closed() && (F <= 0 || F >= 1)) {  // the density is of no use here
      x = bracket.Middle();
      continue;
    }
    const double g = density(x, a, b);
    const double s = d / g;
    if (x + s == x) break;  // no double is closer, and After would go to the middle of the bracket
    x = bracket.After(x, s);
    if (std::fabs(d) < tolerance && std::fabs(d) < std::fabs(g) * tolerance) return x;
  }
  if (bracket.hasLow && std::fabs(F - p) > p - bracket.fLow) x = bracket.low, F = bracket.fLow;
  if (bracket.hasHigh && std::fabs(F - p) > bracket.fHigh - p) x = bracket.high, F = bracket.fHigh;
  return p * 0.01 > std::fabs(p - F) ? x : MissingValue();
}

}  // namespace tessel
