// BetaFraction and IncompleteGamma.
//
// BetaFraction: the even-odd continued fraction (Abramowitz and Stegun 26.5.8). IncompleteGamma: algorithm AS 239,
// which takes the Wilson-Hilferty approximation for large p, Pearson's series for small x, and otherwise the continued
// fraction (26.4.10).
#include <algorithm>
#include <cmath>

#include "special/gamma.h"
#include "special/normal.h"

namespace tessel {
namespace {

constexpr double kConverged = 1e-11;
constexpr int kMaxTerms = 150;
constexpr double kThird = 0.3333333333333333;

// exp of an argument that may lie below the range.
double ExpAboveLimit(double argument) { return argument <= -706 ? 0 : std::exp(argument); }

// P(p, x) for x at or below 1 or below p.
double PearsonSeries(double x, double p) {
  double c = 1;
  double sum = 1;
  double a = p;
  for (int added = 0; c > kConverged && added <= kMaxTerms; ++added) {
    a += 1;
    c = c * (x / a);
    sum += c;
  }
  return ExpAboveLimit(p * std::log(x) - x - LogGamma(p + 1) + std::log(sum));
}

// Q(p, x) for x above 1 and at or above p.
double GammaFraction(double x, double p) {
  double a = 1 - p;
  double b = a + x + 1;
  double pn1 = 1, pn2 = x, pn3 = x + 1, pn4 = x * b;
  double ratio = pn3 / pn4;
  for (int term = 1; term <= kMaxTerms; ++term) {
    a += 1;
    b += 2;
    const double an = a * term;
    const double pn5 = b * pn3 - an * pn1;
    const double pn6 = b * pn4 - an * pn2;
    if (std::fabs(pn6) > 0) {
      const double rn = pn5 / pn6;
      if (std::min(kConverged, kConverged * rn) > std::fabs(ratio - rn)) break;
      ratio = rn;
    }
    pn1 = pn3, pn2 = pn4, pn3 = pn5, pn4 = pn6;
    if (std::fabs(pn5) >= 1e30) pn1 /= 1e30, pn2 /= 1e30, pn3 /= 1e30, pn4 /= 1e30;
  }
  return ExpAboveLimit(p * std::log(x) - x - LogGamma(p) + std::log(ratio));
}

}  // namespace

double BetaFraction(double x, double a, double b) {
  if (x <= 0 || a <= 0 || b <= 0) return 0;
  const double s = a + b;
  double az = 1, am = 1, bm = 1, bz = 1 - s * x / (a + 1);
  for (int m = 1; m <= 1000; ++m) {
    const double d = m * (b - m) * x / ((a - 1 + 2 * m) * (a + 2 * m));
    const double ap = az + d * am;
    const double bp = bz + d * bm;
    const double e = -(a + m) * (s + m) * x / ((a + 1 + 2 * m) * (a + 2 * m));
    const double bpp = bp + e * bz;
    if (bpp <= 0) return az;
    const double app = ap + e * az;
    const double old = az;
    am = ap / bpp;
    bm = bp / bpp;
    az = app / bpp;
    bz = 1;
    if (!(std::fabs(az) * 1e-13 <= std::fabs(az - old))) break;  // converged, or a missing value
  }
  return az;
}

double IncompleteGamma(double x, double p, Tail tail) {
  const bool upper = tail == Tail::Upper;
  if (x <= 0 || p <= 0) return upper ? 1 : 0;
  if (p > 1000) {
    const double z = 3 * std::sqrt(p) * (std::pow(x / p, kThird) + 1 / (9 * p) - 1);
    return NormalTail(z, tail);
  }
  if (x > 1e11) return upper ? 0 : 1;
  const bool lowerKnown = x <= 1 || x < p;
  const double value = std::min(lowerKnown ? PearsonSeries(x, p) : GammaFraction(x, p), 1.0);
  return lowerKnown != upper ? value : 1 - value;
}

}  // namespace tessel
