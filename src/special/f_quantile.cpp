// The F quantile: the starting value of algorithm AS 109 for the beta variable m / (m + n F), refined by the bracketed
// Newton iteration.
#include <algorithm>
#include <cmath>

#include "core/missing.h"
#include "special/distributions.h"
#include "special/gamma.h"
#include "special/quantiles.h"

namespace tessel {
namespace {

// The starts give (1 - x) / x for the beta variable x, which keeps its digits where x is close to 1.

// P and Q above 1: Carter's approximation.
double CarterStart(double y, double P, double Q) {
  const double r = (y * y - 3) / 6;
  const double s = 1 / (2 * P - 1);
  const double t = 1 / (2 * Q - 1);
  const double h = 2 / (s + t);
  const double w = y * std::sqrt(h + r) / h - (t - s) * (r + 0.8333333333333334 - 2 / (3 * h));
  return Q * std::exp(2 * w) / P;
}

// Otherwise: Wilson and Hilferty's chi-squared form, and the leading term of either tail.
double TailStart(double u, double y, double P, double Q, double logBeta) {
  const double e = 1 / (9 * Q);
  const double root = 1 - e + y * std::sqrt(e);
  double t = 2 * Q * (root * root * root);
  if (t <= 0) {
    const double complement = std::exp((std::log((1 - u) * Q) + logBeta) / Q);
    return complement / (1 - complement);
  }
  t = (4 * P + 2 * Q - 2) / t;
  if (t > 1) return 2 / (t - 1);
  return 1 / std::exp((std::log(u * P) + logBeta) / P) - 1;
}

}  // namespace

std::optional<double> FQuantileStart(double q, double n, double m) {
  double P = m / 2;
  double Q = n / 2;
  if (!(P > 0 && Q > 0 && q >= 0 && q <= 1)) return std::nullopt;
  const double logBeta = LogBeta(Q, P);
  const bool swapped = 2 * q > 1;
  const double u = swapped ? 1 - q : q;
  if (swapped) std::swap(P, Q);
  const double r = std::sqrt(-std::log(u * u));
  const double y = r - (2.30753 + 0.27061 * r) / (1 + (0.99229 + 0.04481 * r) * r);
  const double odds = P > 1 && Q > 1 ? CarterStart(y, P, Q) : TailStart(u, y, P, Q, logBeta);
  return (swapped ? 1 / odds : odds) * m / n;
}

double FQuantile(double p, double n, double m) {
  if (p <= 1e-10) return 0;
  if (p >= 1) return PositiveInfinity();
  const std::optional<double> start = FQuantileStart(std::clamp(1 - p, 1e-6, 0.999999), n, m);
  if (!start) return MissingValue();
  return SafeguardedNewton(p, *start, {.cdf = FCdf, .density = FDensity, .a = n, .b = m, .low = 0});
}

}  // namespace tessel
