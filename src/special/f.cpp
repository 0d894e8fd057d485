// The F distribution: the incomplete beta function (Abramowitz and Stegun 26.6.2) and, for many degrees of freedom on
// both sides, Paulson's normal approximation (26.6.15), on one side the chi-squared limit.
#include <algorithm>
#include <cmath>
#include <limits>

#include "core/missing.h"
#include "special/beta_factor.h"
#include "special/distributions.h"
#include "special/normal.h"

namespace tessel {
namespace {

constexpr double kThird = 0.3333333333333333;

// n and m both above 1e7.
double Paulson(double x, double n, double m, Tail tail) {
  const double a = 2 / (9 * m);
  const double b = 2 / (9 * n);
  const double c = std::pow(x, kThird);
  return NormalTail(((1 - a) * c - (1 - b)) / std::sqrt(a * c * c + b), tail);
}

// Whether the chi-squared limit for m to infinity is more accurate than the continued fraction, whose error grows like
// 1e-17 times the larger degrees of freedom: from m = 1e8 on while the incomplete gamma integral has its full accuracy
// at n, from 1e12 on always.
bool IsNearLimit(double n, double m) { return m > 1e12 || (m > 1e8 && n <= 600); }

// The limit in y = n F, corrected to first order in 1/m: Scheffe and Tukey, A formula for sample sizes for population
// tolerance limits, Annals of Mathematical Statistics 15 (1944), 217.
double ChiSquaredLimit(double x, double n, double m, Tail tail) {
  const double y = std::min(n * x, 1e300);
  const double correction = (1 + (y / 3 + n - 2) / (2 * m)) / (1 + 4 * y / 3 / (2 * m));
  return IncompleteGamma(y * correction / 2, n / 2, tail);
}

double Probability(double x, double n, double m, Tail tail) {
  const bool upper = tail == Tail::Upper;
  if (x <= 0) return upper ? 1 : 0;
  if (x >= std::numeric_limits<double>::max()) return upper ? 0 : 1;
  if (n <= 0 || m <= 0) return 0;
  if (n > 1e7 && m > 1e7) return Paulson(x, n, m, tail);
  if (IsNearLimit(n, m)) return ChiSquaredLimit(x, n, m, tail);
  if (IsNearLimit(m, n)) return ChiSquaredLimit(1 / x, m, n, upper ? Tail::Lower : Tail::Upper);

  const double t = m / (x * n + m);
  if (t == 0) return upper ? 0 : 1;
  if (t == 1) return upper ? 1 : 0;
  const double complement = x * n / (x * n + m);
  const double a = n / 2;
  const double b = m / 2;
  const double factor = BetaFactor(t, complement, b, a);
  const bool upperKnown = (b + 1) / (a + b + 2) > t;
  const double value = upperKnown ? factor * BetaFraction(t, b, a) / b : factor * BetaFraction(complement, a, b) / a;
  const double probability = std::min(value, 1.0);
  return upperKnown == upper ? probability : 1 - probability;
}

}  // namespace

double FTail(double x, double n, double m) { return Probability(x, n, m, Tail::Upper); }

double FCdf(double x, double n, double m) { return Probability(x, n, m, Tail::Lower); }

double FDensity(double x, double n, double m) {
  if (x <= 0 || x == PositiveInfinity()) return 0;
  if (!(n > 0 && m > 0)) return MissingValue();
  const double a = n / 2;
  const double b = m / 2;
  return std::exp(-LogBeta(a, b) + a * std::log(a / b) + (a - 1) * std::log(x) - (a + b) * std::log1p(a * x / b));
}

}  // namespace tessel
