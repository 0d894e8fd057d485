// Poisson and negative binomial likelihoods.
//
// Both distributions are f(y) = q_y / S with q_0 = 1, q_(j+1) = q_j (first + slope j) / (j + 1), and S the sum of all
// q_j, up to L when truncated:
//   Poisson             first = mu, slope = 0
//   negative binomial   first = a mu / (mu + a), slope = mu / (mu + a)
// With H_y = psi(a + y) - psi(a) = 1/a + ... + 1/(a + y - 1), and E the expectation under f, the derivatives of log
// f(y) of the negative binomial are
//   with respect to x'beta      a P (H_y - E H) + (1 - P) a / (mu + a) (y - E y)
//   with respect to log alpha   -a (H_y - E H) + a / (mu + a) (y - E y)
// truncated or not; without truncation E y = mu and E H = log(1 + mu / a). The likelihood is
//   log f(y) = log((a)_y / y!) - y log(1 + a / mu) - log S,   log S = a log(1 + mu / a) without truncation,
// with the rising factorial (a)_y = a (a + 1) ... (a + y - 1) = Gamma(a + y) / Gamma(a). Written in differences, they
// keep their digits when alpha goes to 0, where single gamma functions would grow without bound.
#include "limdep/count.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "special/gamma.h"

namespace tessel {

// What all observations of a model share.
struct CountDistribution {
  int truncation;            // L, 0 for none
  double power;              // P
  double logDispersion;      // log alpha
  double inverseDispersion;  // 1 / alpha
};

namespace {

struct Recursion {
  double first, slope;
  double Ratio(double j) const { return (first + slope * j) / (j + 1.0); }  // q_(j+1) / q_j
};

// log S, and expectations under f.
struct CountMoments {
  double logSum;        // log S
  double mean;          // E y
  double variance;      // Var(y); of the untruncated negative binomial not needed, and 0
  double meanHarmonic;  // E H
};

// Whether the terms after j change none of the sums any more: they are 0, or they shrink from here on and are too small
// already. Also when q is infinite or not a number, so that no run over a very high L is spent on lost sums.
bool TailVanishes(const Recursion &recursion, double j, double q, double s1) {
  if (!(q > 0.0 && q < PositiveInfinity())) return true;
  const double growth = (j + 1.0) / j;  // of j, while the terms are at most of the order j^2 q_j
  return std::max(recursion.Ratio(j), recursion.slope) * growth * growth < 1.0 && j * j * q <= 1e-19 * s1;
}

// The moments from sums over the counts 0 to L. `shape` is a, infinite for the Poisson. The sums are scaled down before
// they overflow.
CountMoments TruncatedMoments(const Recursion &recursion, double shape, int truncation) {
  constexpr double tooLarge = 1e200, rescale = 0x1p-600, logRescale = 600.0 * 0.6931471805599453;
  double q = 1.0, s0 = 1.0, s1 = 0.0, s2 = 0.0, harmonic = 0.0, sHarmonic = 0.0, logScale = 0.0;
  for (std::int64_t i = 1; i <= truncation; ++i) {
    const auto j = static_cast<double>(i);
    q *= recursion.Ratio(j - 1.0);
    harmonic += 1.0 / (shape + (j - 1.0));
    s0 += q;
    s1 += j * q;
    s2 += j * j * q;
    sHarmonic += harmonic * q;
    if (q > tooLarge) {
      for (double *value : {&q, &s0, &s1, &s2, &sHarmonic}) *value *= rescale;
      logScale += logRescale;
    }
    if (i % 64 == 0 && TailVanishes(recursion, j, q, s1)) break;
  }
  const double mean = s1 / s0;
  return {std::log(s0) + logScale, mean, s2 / s0 - mean * mean, sHarmonic / s0};
}

// The rising factorial (a)_y as the likelihood needs it.
struct RisingFactorial {
  double logOverFactorial;  // log((a)_y / y!)
  double harmonic;          // H_y, the derivative of log (a)_y with respect to a
};

// For a y too large to multiply out. A large a takes Stirling's series of both gamma functions in one, where the large
// terms cancel in the formula rather than in the arithmetic.
RisingFactorial LongRisingFactorial(double a, double y) {
  if (a < 1e5) return {-LogBeta(a, y) - std::log(y), Polygamma(a + y, 0) - Polygamma(a, 0)};
  const double growth = std::log1p(y / a), inverse = y / a / (a + y);  // 1/a - 1/(a + y)
  return {(a - 0.5) * growth + y * (std::log(a + y) - 1.0) - inverse / 12.0 - LogGamma(y + 1.0),
          growth + inverse / 2.0 + inverse * (1.0 / a + 1.0 / (a + y)) / 12.0};
}

constexpr int kLongestProduct = 1000;

RisingFactorial RisingFactorialOf(double a, int y) {
  constexpr double nearOverflow = 1e150;
  if (y > kLongestProduct) return LongRisingFactorial(a, y);
  RisingFactorial rising{0.0, 0.0};
  double numerator = 1.0, denominator = 1.0;
  for (int j = 0; j < y; ++j) {
    numerator *= a + j;
    denominator *= j + 1;
    rising.harmonic += 1.0 / (a + j);
    if (std::max(numerator, denominator) > nearOverflow) {
      rising.logOverFactorial += std::log(numerator / denominator);
      numerator = denominator = 1.0;
    }
  }
  rising.logOverFactorial += std::log(numerator / denominator);
  return rising;
}

// Adds f(c) to the frequency of each count c.
void AddFrequencies(const Recursion &recursion, const CountMoments &moments, std::span<double> frequencies) {
  if (moments.logSum == PositiveInfinity()) return;  // the mean has overflowed: every f(c) is 0
  double logFrequency = -moments.logSum, c = 0.0;
  for (double &frequency : frequencies) {
    frequency += std::exp(logFrequency);
    logFrequency += std::log(recursion.Ratio(c));
    c += 1.0;
  }
}

IndexTerms PoissonTerms(const IndexModel &model, double b, int y, std::span<double> fitted) {
  const int truncation = model.count->truncation;
  const double mu = std::exp(b);
  const Recursion recursion{mu, 0.0};
  const CountMoments moments =
      truncation > 0 ? TruncatedMoments(recursion, PositiveInfinity(), truncation) : CountMoments{mu, mu, mu, 0.0};
  AddFrequencies(recursion, moments, fitted);
  return {y * b - moments.logSum - LogGamma(y + 1.0), y - moments.mean, 0.0, moments.variance};
}

IndexTerms NegativeBinomialTerms(const IndexModel &model, double b, int y, std::span<double> fitted) {
  const CountDistribution &count = *model.count;
  const double power = count.power, mu = std::exp(b);
  const double muToPower = power == 0.0 ? 1.0 : power == 1.0 ? mu : std::exp(power * b);
  const double a = muToPower * count.inverseDispersion;
  const double odds = a / mu, slope = 1.0 / (1.0 + odds);  // mu / (mu + a)
  const Recursion recursion{a * slope, slope};
  const double growth = std::log1p(mu / a);
  const CountMoments moments = count.truncation > 0 ? TruncatedMoments(recursion, a, count.truncation)
                                                    : CountMoments{a * growth, mu, 0.0, growth};
  AddFrequencies(recursion, moments, fitted);

  const RisingFactorial rising = RisingFactorialOf(a, y);
  const double deviation = a * (rising.harmonic - moments.meanHarmonic), residual = (y - moments.mean) / (1.0 + mu / a);
  // log(1 + a / mu). The difference saves a logarithm, but a large count would multiply its rounding errors.
  const double logRatio =
      y > kLongestProduct && odds < 1.0 ? std::log1p(odds) : growth - (1.0 - power) * b - count.logDispersion;
  return {rising.logOverFactorial - y * logRatio - moments.logSum, power * deviation + (1.0 - power) * residual,
          residual - deviation, 0.0};
}

}  // namespace

Likelihood CountLikelihood(const CountModel &model, const IndexSample &sample, std::span<const double> theta,
                           const LikelihoodOutputs &out) {
  // From here on down alpha cannot be told from 0: the model is the Poisson, and 1 / alpha soon overflows.
  constexpr double lowestLogDispersion = -600.0;
  CountDistribution distribution{model.truncation, model.power, 0.0, 1.0};
  IndexModel index;
  index.count = &distribution;
  index.terms = PoissonTerms;
  if (model.negativeBinomial) {
    index.terms = NegativeBinomialTerms;
    index.hasDispersion = index.informationFromScores = true;
    distribution.logDispersion = std::max(theta[static_cast<std::size_t>(sample.Regressors())], lowestLogDispersion);
    distribution.inverseDispersion = std::exp(-distribution.logDispersion);
  }
  return IndexLikelihood(index, sample, theta, out);
}

}  // namespace tessel
