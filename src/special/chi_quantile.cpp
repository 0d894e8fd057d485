// The chi-squared quantile: algorithm AS 91, with convergence at 1e-10.
#include <cmath>

#include "core/missing.h"
#include "special/gamma.h"
#include "special/quantiles.h"

namespace tessel {
namespace {

constexpr double kLogTwo = 0.6931471805599453;
constexpr double kLowest = 1e-10;
constexpr int kMaxSteps = 40;

// df at or below 0.32: Newton's iteration on a rational approximation, to one per cent.
double StartForSmallDf(double p, double c, double g) {
  const double a = std::log(1 - p) + g;
  double ch = 0.4;
  for (int step = 0; step < 1000; ++step) {
    const double q = ch;
    const double p1 = 1 + ch * (4.67 + ch);
    const double p2 = ch * (6.73 + ch * (6.66 + ch));
    const double t = -0.5 + (4.67 + 2 * ch) / p1 - (6.73 + ch * (13.32 + 3 * ch)) / p2;
    const double next = ch - (1 - std::exp(a + 0.5 * ch + c * kLogTwo) * p2 / p1) / t;
    if (next <= 0) break;
    ch = next;
    if (std::fabs(q / ch - 1) <= 0.01) break;
  }
  return ch;
}

// Wilson and Hilferty's form, and for p close to 1 the leading term of the tail.
double StartFromNormal(double p, double v, double c, double g) {
  const double x = NormalQuantile(p);
  const double p1 = 2 / (9 * v);
  const double root = x * std::sqrt(p1) + 1 - p1;
  const double ch = v * (root * root * root);
  return ch > 2.2 * v + 6 ? -2 * (std::log(1 - p) - c * std::log(0.5 * ch) + g) : ch;
}

// The seven-term Taylor step.
double TaylorStep(double ch, double p, double xx, double c, double g) {
  const double p1 = 0.5 * ch;
  const double t = (p - IncompleteGamma(p1, xx, Tail::Lower)) * std::exp(xx * kLogTwo + g + p1 - c * std::log(ch));
  const double b = t / ch;
  const double a = 0.5 * t - b * c;
  const double s1 = (210 + a * (140 + a * (105 + a * (84 + a * (70 + 60 * a))))) / 420;
  const double s2 = (420 + a * (735 + a * (966 + a * (1141 + 1278 * a)))) / 2520;
  const double s3 = (210 + a * (462 + a * (707 + 932 * a))) / 2520;
  const double s4 = (252 + a * (672 + 1182 * a) + c * (294 + a * (889 + 1740 * a))) / 5040;
  const double s5 = (84 + 264 * a + c * (175 + 606 * a)) / 2520;
  const double s6 = (120 + c * (346 + 127 * c)) / 5040;
  const double next = ch + t * (1 + 0.5 * t * s1 - b * c * (s1 - b * (s2 - b * (s3 - b * (s4 - b * (s5 - b * s6))))));
  return next <= 0 ? p1 : next;
}

}  // namespace

double ChiQuantile(double p, double df) {
  if (IsMissing(p) || IsMissing(df)) return MissingValue();
  if (p < 1e-10 || df <= 0) return 0;
  if (p >= 1) return PositiveInfinity();
  const double v = df;
  const double xx = v / 2;
  const double c = xx - 1;
  const double g = LogGamma(xx);

  double ch;
  if (v < -1.24 * std::log(p)) {
    ch = std::pow(p * xx * std::exp(g + xx * kLogTwo), 1 / xx);
    if (ch < kLowest) return kLowest;
  } else if (v <= 0.32) {
    ch = StartForSmallDf(p, c, g);
  } else {
    ch = StartFromNormal(p, v, c, g);
  }
  for (int step = 0; step < kMaxSteps; ++step) {
    const double q = ch;
    ch = TaylorStep(ch, p, xx, c, g);
    if (std::fabs(q / ch - 1) <= 1e-10) break;
  }
  return ch;
}

}  // namespace tessel
