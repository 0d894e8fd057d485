// Poisson and negative binomial likelihoods.
//
// Both distributions are f(y) = q_y / S with q_0 = 1, q_(j+1) = q_j (first + slope j) / (j + 1), and S the sum of all
// q_j, up to L when truncated:
//   Poisson             first = mu, slope = 0
//   negative binomial   first = a mu / (mu + a), slope = mu / (mu + a)
// With H_y = psi(a + y) - psi(a) = 1/a + ... + 1/(a + y - 1), and E the expectation under f, the derivatives of log
// f(y) of the negative binomial are
//   with respect to x'theta     a P (H_y - E H) + (1 - P) a / (mu + a) (y - E y)
//   with respect to log alpha   -a (H_y - E H) + a / (mu + a) (y - E y)
// truncated or not; without truncation E y = mu and E H = log(1 + mu / a). Written in differences, they and the
// likelihood keep their digits when alpha goes to 0, where single gamma functions would grow without bound.
#include "limdep/count.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "special/gamma.h"

namespace tessel {

namespace {

struct Recursion {
  double first, slope;
  double Ratio(double j) const { return (first + slope * j) / (j + 1.0); }  // q_(j+1) / q_j
};

// log S, and the expectations under f.
struct Norm {
  double log, mean, variance, rise;  // rise: E H
};

// Whether the terms after j change none of the sums any more: they are 0, or they shrink from here on and are too small
// already. Also when the sums are past saving, so that no run over a very high L is spent on them.
bool TailVanishes(const Recursion &recursion, double j, double q, double s1) {
  if (!(q > 0.0 && q < PositiveInfinity())) return true;
  const double growth = (j + 1.0) / j;  // of j, while the terms are at most of the order j^2 q_j
  return std::max(recursion.Ratio(j), recursion.slope) * growth * growth < 1.0 && j * j * q <= 1e-19 * s1;
}

// Sums over the counts 0 to L. `shape` is a, infinite for the Poisson.
Norm TruncatedNorm(const Recursion &recursion, double shape, int truncation) {
  constexpr double tooLarge = 1e200, rescale = 0x1p-600, logRescale = 600.0 * 0.6931471805599453;
  double q = 1.0, s0 = 1.0, s1 = 0.0, s2 = 0.0, rise = 0.0, sRise = 0.0, logScale = 0.0;
  for (std::int64_t i = 1; i <= truncation; ++i) {
    const auto j = static_cast<double>(i);
    q *= recursion.Ratio(j - 1.0);
    rise += 1.0 / (shape + (j - 1.0));
    s0 += q;
    s1 += j * q;
    s2 += j * j * q;
    sRise += rise * q;
    if (q > tooLarge) {
      for (double *value : {&q, &s0, &s1, &s2, &sRise}) *value *= rescale;
      logScale += logRescale;
    }
    if (i % 64 == 0 && TailVanishes(recursion, j, q, s1)) break;
  }
  const double mean = s1 / s0;
  return {std::log(s0) + logScale, mean, s2 / s0 - mean * mean, sRise / s0};
}

// log(Gamma(a + y) / (Gamma(a) y!)) and H_y.
struct Rise {
  double log, digamma;
};

// The same for a y too long to run through. A large a takes Stirling's series of both gamma functions in one, where the
// large terms cancel in the formula rather than in the arithmetic.
Rise LongRise(double a, double y) {
  if (a < 1e5) return {-LogBeta(a, y) - std::log(y), Polygamma(a + y, 0) - Polygamma(a, 0)};
  const double growth = std::log1p(y / a), inverse = y / a / (a + y);  // 1/a - 1/(a + y)
  return {(a - 0.5) * growth + y * (std::log(a + y) - 1.0) - inverse / 12.0 - LogGamma(y + 1.0),
          growth + inverse / 2.0 + inverse * (1.0 / a + 1.0 / (a + y)) / 12.0};
}

constexpr int kLongestRun = 1000;

Rise RiseTo(double a, int y) {
  constexpr double nearOverflow = 1e150;
  if (y > kLongestRun) return LongRise(a, y);
  Rise rise{0.0, 0.0};
  double numerator = 1.0, denominator = 1.0;
  for (int j = 0; j < y; ++j) {
    numerator *= a + j;
    denominator *= j + 1;
    rise.digamma += 1.0 / (a + j);
    if (std::max(numerator, denominator) > nearOverflow) {
      rise.log += std::log(numerator / denominator);
      numerator = denominator = 1.0;
    }
  }
  rise.log += std::log(numerator / denominator);
  return rise;
}

// Adds f(c) for each count c below `cells`.
void AddFrequencies(const Recursion &recursion, const Norm &norm, int cells, double *frequency) {
  if (norm.log == PositiveInfinity()) return;  // the mean has overflowed: every f(c) is 0
  double logFrequency = -norm.log;
  for (int c = 0; c < cells; ++c) {
    frequency[c] += std::exp(logFrequency);
    logFrequency += std::log(recursion.Ratio(c));
  }
}

IndexTerms PoissonTerms(const IndexModel &model, double b, int y, double *fitted) {
  const CountModel &count = *model.count;
  const double mu = std::exp(b);
  const Recursion recursion{mu, 0.0};
  const Norm norm =
      count.truncation > 0 ? TruncatedNorm(recursion, PositiveInfinity(), count.truncation) : Norm{mu, mu, mu, 0.0};
  if (fitted != nullptr) AddFrequencies(recursion, norm, count.cells, fitted);
  return {y * b - norm.log - LogGamma(y + 1.0), y - norm.mean, 0.0, norm.variance};
}

IndexTerms NegativeBinomialTerms(const IndexModel &model, double b, int y, double *fitted) {
  const CountModel &count = *model.count;
  const double power = count.power, mu = std::exp(b);
  const double scale = power == 0.0 ? 1.0 : power == 1.0 ? mu : std::exp(power * b);
  const double a = scale * count.inverseDispersion;
  const double odds = a / mu, slope = 1.0 / (1.0 + odds);  // mu / (mu + a)
  const Recursion recursion{a * slope, slope};
  const double growth = std::log1p(mu / a);
  const Norm norm =
      count.truncation > 0 ? TruncatedNorm(recursion, a, count.truncation) : Norm{a * growth, mu, 0.0, growth};
  if (fitted != nullptr) AddFrequencies(recursion, norm, count.cells, fitted);

  const Rise rise = RiseTo(a, y);
  const double deviation = a * (rise.digamma - norm.rise), residual = (y - norm.mean) / (1.0 + mu / a);
  // log(1 + a / mu). The difference saves a logarithm, but a large count would multiply its rounding errors.
  const double logRatio =
      y > kLongestRun && odds < 1.0 ? std::log1p(odds) : growth - (1.0 - power) * b - count.logDispersion;
  return {rise.log - y * logRatio - norm.log, power * deviation + (1.0 - power) * residual, residual - deviation, 0.0};
}

}  // namespace

double CountLikelihood(CountModel count, const IndexSample &sample, const double *theta, const LikelihoodOutputs &out) {
  if (out.fitted != nullptr) MatZero(out.fitted, 1, count.cells);
  IndexModel model;
  model.count = &count;
  model.terms = count.negativeBinomial ? NegativeBinomialTerms : PoissonTerms;
  model.shaped = model.informationFromScores = count.negativeBinomial;
  if (model.shaped) {
    constexpr double poisson = -600.0;  // from here on down alpha cannot be told from 0, and 1 / alpha soon overflows
    count.logDispersion = std::max(theta[sample.regressors], poisson);
    count.inverseDispersion = std::exp(-count.logDispersion);
  }
  return IndexLikelihood(model, sample, theta, out);
}

}  // namespace tessel
