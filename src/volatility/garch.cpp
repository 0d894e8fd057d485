// GARCH and EGARCH recursions.
#include "volatility/garch.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"

namespace tessel {

namespace {

double Square(double x) { return x * x; }

double MeanSquare(const double *y, int n) {
  double sum = 0.0;
  for (int t = 0; t < n; ++t) sum += y[t] * y[t];
  return sum / n;
}

double ResidualOfVariance(const VarianceInMean &inMean, double y, double h) {
  switch (inMean.kind) {
    case 1: return y - inMean.delta * h;
    case 2: return y - inMean.delta * std::sqrt(h);
    case 3: return y - inMean.delta * std::log(h);
    default: return y;
  }
}

double ResidualOfLog(const VarianceInMean &inMean, double y, double l) {
  switch (inMean.kind) {
    case 1: return y - inMean.delta * std::exp(l);
    case 2: return y - inMean.delta * std::exp(0.5 * l);
    case 3: return y - inMean.delta * l;
    default: return y;
  }
}

// The recursion, for p, q and the in-mean kind that the compiler may know. The values of lag 1 stay in registers, so
// that it is as fast as its chain of operations from one variance to the next.
[[gnu::always_inline]] inline void RunGarch(const GarchModel &model, int p, int q, VarianceInMean inMean,
                                            const double *arch, const double *garch, double start, const double *y,
                                            const double *c, int n, double *h, double *e) {
  const double shift = model.shift, threshold = model.threshold;
  double lastSquare = start, lastVariance = start, lastResidual = shift;
  for (int t = 0; t < n; ++t) {
    double variance = c[t];
    if (q > 0) variance += arch[0] * lastSquare;
    for (int j = 2; j <= q; ++j) variance += arch[j - 1] * (t >= j ? Square(e[t - j] - shift) : start);
    if (p > 0) variance += garch[0] * lastVariance;
    for (int j = 2; j <= p; ++j) variance += garch[j - 1] * (t >= j ? h[t - j] : start);
    if (threshold != 0.0 && lastResidual < shift) variance += threshold * lastSquare;

    h[t] = lastVariance = variance;
    e[t] = lastResidual = ResidualOfVariance(inMean, y[t], variance);
    lastSquare = Square(lastResidual - shift);
  }
}

}  // namespace

int GarchVariances(const GarchModel &model, const double *y, const double *c, int n, double *h, double *e) {
  const int p = model.garchTerms, q = model.archTerms;
  const double *sum = model.coefficients + 1, *garch = sum + std::max(p, q);
  OwnedBlock<double> arch(q);
  if (!arch) return 0;
  for (int j = 0; j < q; ++j) arch[j] = j < p ? sum[j] - garch[j] : sum[j];

  const double start = MeanSquare(y, n);
  const bool inMean = model.inMean.kind >= 1 && model.inMean.kind <= 3;
  if (p == 1 && q == 1 && !inMean)
    RunGarch(model, 1, 1, {}, arch.get(), garch, start, y, c, n, h, e);
  else
    RunGarch(model, p, q, model.inMean, arch.get(), garch, start, y, c, n, h, e);
  return 1;
}

void EgarchVariances(const EgarchModel &model, const double *y, const double *c, int n, double *l, double *e) {
  constexpr double highest = 709.0;
  OwnedBlock<double> news(n);
  if (!news) {
    std::fill_n(l, n, 0.0);
    std::fill_n(e, n, 0.0);
    return;
  }

  const double start = std::log(MeanSquare(y, n));
  const int longest = std::max(model.newsTerms, model.lagTerms);
  for (int t = 0; t < n; ++t) {
    double value = c[t];
    for (int j = 1; j <= std::min(model.newsTerms, t); ++j) value += model.news[j - 1] * news[t - j];
    for (int j = 1; j <= model.lagTerms; ++j) value += model.lags[j - 1] * (t >= j ? l[t - j] : start);
    const double bounded = value > highest ? highest : value;
    l[t] = t < longest ? value : bounded;
    e[t] = ResidualOfLog(model.inMean, y[t], bounded);
    const double z = e[t] * std::exp(-0.5 * bounded);
    news[t] = model.scale * (std::fabs(z) - model.mean) + model.sign * z;
  }
}

}  // namespace tessel
