// Student's t distribution.
//
// The finite series of Abramowitz and Stegun 26.7.3 and 26.7.4, the incomplete beta function (26.7.1) from t = 4 on,
// and for many degrees of freedom Hill's normalising expansion.
#include <cmath>

#include "core/missing.h"
#include "special/beta_factor.h"
#include "special/distributions.h"
#include "special/normal.h"

namespace tessel {
namespace {

constexpr int kSeriesMaxDf = 1000;

// t at or above 4; c = df / (df + t^2).
double BetaForm(double t, double v, double c) {
  const double complement = t * t / (v + t * t);
  return BetaFactor(c, complement, v / 2, 0.5) * BetaFraction(c, v / 2, 0.5) / v;
}

// t below 4, which keeps the tail above 0. The series has about df/2 terms, all positive and falling: once a term
// leaves the sum as it is, so do the rest.
double FiniteSeries(double t, int df, double c) {
  const int odd = df % 2;
  const double s = t / std::sqrt(static_cast<double>(df));
  double a = 1;
  double sum = 1;
  for (int i = odd + 2; i <= df - 2; i += 2) {
    a = a * ((i - 1) * c / i);  // so bracketed, the division need not wait for a
    const double next = sum + a;
    if (next == sum) break;
    sum = next;
  }
  if (df == 1) sum = 0;
  return odd ? 0.5 - (std::atan(s) + c * s * sum) * 0.3183098861837907 : (1 - std::sqrt(c) * s * sum) * 0.5;
}

// t below 4, df above kSeriesMaxDf, where the error of the expansion is below 1e-20 and the series would only be slower
// and less accurate.
double HillExpansion(double t, double v) {
  const double a = v - 0.5;
  const double b = 48 * a * a;
  const double y = a * std::log1p(t * t / v);
  const double second = (((-0.4 * y - 3.3) * y - 24) * y - 85.5) / (0.8 * y * y + 100 + b);
  const double z = ((second + y + 3) / b + 1) * std::sqrt(y);
  return NormalTail(t < 0 ? -z : z, Tail::Upper);
}

}  // namespace

double StudentTail(double t, int df) {
  if (df < 1) return 0;
  if (t == 0) return 0.5;
  if (IsMissing(t)) return t;
  const double v = df;
  const double c = v / (v + t * t);
  if (c == 0) return t < 0 ? 1 : 0;  // t^2 overflows
  if (t >= 4) return BetaForm(t, v, c);
  return df > kSeriesMaxDf ? HillExpansion(t, v) : FiniteSeries(t, df, c);
}

double StudentCdf(double t, int df) {
  if (t == 0) return 0.5;
  return t < 0 ? StudentTail(-t, df) : 1 - StudentTail(t, df);
}

double StudentDensity(double x, double df) {
  // Gamma(h) / (Gamma(df/2) sqrt(pi)) = 1 / B(df/2, 1/2), h = df/2 + 1/2.
  const double h = df / 2 + 0.5;
  if (!(df > 0)) return MissingValue();
  return std::exp(-LogBeta(df / 2, 0.5) - 0.5 * std::log(df) - h * std::log1p(x * x / df));
}

}  // namespace tessel
