// Gamma, chi-squared, Student t and F draws.
#include "random/variates.h"

#include <cmath>

#include "core/missing.h"

namespace tessel {

namespace {

bool IsPositiveFinite(double x) { return x > 0 && x < PositiveInfinity(); }

// GS of Ahrens and Dieter, a below 1: rejection from x^(a-1) below 1 and exp(-x) above.
double GammaSmallShape(Generators &generators, double a) {
  constexpr double e = 2.718281828459045;
  const double b = (a + e) / e;
  for (;;) {
    const double u = b * RanUniform(generators);
    const double w = RanUniform(generators);
    if (u <= 1) {
      const double x = std::pow(u, 1 / a);
      if (-std::log(w) >= x) return x;
    } else {
      const double x = -std::log((b - u) / a);
      if (std::pow(x, a - 1) >= w) return x;
    }
  }
}

// GKM3 of Cheng and Feast, a above 1: ratio of uniforms, from 2.5 on inside a parallelogram around the acceptance
// region. Their tests m u + t + 1/t < m + 2 and m log u - log t + t < 1 stand here in a form that keeps its digits as t
// comes close to 1, for shapes up to the largest double.
double GammaLargeShape(Generators &generators, double a) {
  const double a1 = a - 1;
  const double b = (a - 1 / (6 * a)) / a1;
  const double m = 2 / a1;
  const double q = 1 / std::sqrt(a);
  for (;;) {
    double u = RanUniform(generators);
    const double w = RanUniform(generators);
    if (a > 2.5) {
      u = (1 - 1.86 * u) * q + w;
      if (u <= 0 || u >= 1) continue;
    }
    const double t = w * b / u;
    if ((t - 1) * (t - 1) < m * (1 - u) * t) return a1 * t;
    if (t - 1 - std::log(t) < -m * std::log(u)) return a1 * t;
  }
}

}  // namespace

double GammaVariate(Generators &generators, double shape, double rate) {
  if (!IsPositiveFinite(shape) || !IsPositiveFinite(rate)) return MissingValue();
  if (shape < 1) return GammaSmallShape(generators, shape) / rate;
  if (shape > 1) return GammaLargeShape(generators, shape) / rate;
  return -std::log(RanUniform(generators)) / rate;
}

double ChiVariate(Generators &generators, double df) { return GammaVariate(generators, df / 2, 0.5); }

double StudentVariate(Generators &generators, int df) {
  if (df < 1) return MissingValue();
  const double z = RanNormal(generators);
  const double c = ChiVariate(generators, df);
  return std::sqrt(df / c) * z;
}

double FVariate(Generators &generators, double n, double m) {
  if (!IsPositiveFinite(n) || !IsPositiveFinite(m)) return MissingValue();
  const double c1 = ChiVariate(generators, n);
  const double c2 = ChiVariate(generators, m);
  const double f = (c1 * m) / (c2 * n);
  return std::isfinite(c1 * m) && std::isfinite(c2 * n) ? f : (c1 / n) * (m / c2);  // the products may overflow
}

}  // namespace tessel
