// GARCH and EGARCH recursions.
#include "volatility/garch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/heap.h"

namespace tessel {

namespace {

double Square(double x) { return x * x; }

double MeanSquare(std::span<const double> y) {
  double sum = 0.0;
  for (const double value : y) sum += value * value;
  return sum / static_cast<double>(y.size());
}

double ResidualOfVariance(const VarianceInMean &inMean, double y, double h) {
  switch (inMean.term) {
    case VarianceTerm::Variance: return y - inMean.delta * h;
    case VarianceTerm::StandardDeviation: return y - inMean.delta * std::sqrt(h);
    case VarianceTerm::LogVariance: return y - inMean.delta * std::log(h);
    default: return y;
  }
}

double ResidualOfLogVariance(const VarianceInMean &inMean, double y, double l) {
  switch (inMean.term) {
    case VarianceTerm::Variance: return y - inMean.delta * std::exp(l);
    case VarianceTerm::StandardDeviation: return y - inMean.delta * std::exp(0.5 * l);
    case VarianceTerm::LogVariance: return y - inMean.delta * l;
    default: return y;
  }
}

// The recursion, for orders and an in-mean term that the compiler may know. The values of lag 1 stay in registers, so
// that it is as fast as its chain of operations from one variance to the next.
[[gnu::always_inline]] inline void RunGarch(const GarchModel model, const VarianceSeries &series,
                                            const VariancePaths &paths) {
  const auto q = static_cast<std::int64_t>(model.arch.size()), p = static_cast<std::int64_t>(model.garch.size());
  const auto observations = static_cast<std::int64_t>(series.y.size());
  const double *arch = model.arch.data(), *garch = model.garch.data();
  const double *y = series.y.data(), *c = series.intercept.data();
  double *h = paths.variance.data(), *e = paths.residual.data();
  const double centre = model.asymmetryCentre, leverage = model.leverage, start = MeanSquare(series.y);
  double lastSquare = start, lastVariance = start, lastResidual = centre;
  for (std::int64_t t = 0; t < observations; ++t) {
    double variance = c[t];
    if (q > 0) variance += arch[0] * lastSquare;
    for (std::int64_t j = 2; j <= q; ++j) variance += arch[j - 1] * (t >= j ? Square(e[t - j] - centre) : start);
    if (p > 0) variance += garch[0] * lastVariance;
    for (std::int64_t j = 2; j <= p; ++j) variance += garch[j - 1] * (t >= j ? h[t - j] : start);
    if (leverage != 0.0 && lastResidual < centre) variance += leverage * lastSquare;

    h[t] = lastVariance = variance;
    e[t] = lastResidual = ResidualOfVariance(model.inMean, y[t], variance);
    lastSquare = Square(lastResidual - centre);
  }
}

}  // namespace

void GarchVariances(const GarchModel &model, const VarianceSeries &series, const VariancePaths &paths) {
  if (model.garch.size() != 1 || model.arch.size() != 1 || model.inMean.term != VarianceTerm::None)
    return RunGarch(model, series, paths);
  GarchModel first = model;
  first.arch = model.arch.first(1);
  first.garch = model.garch.first(1);
  first.inMean.term = VarianceTerm::None;
  RunGarch(first, series, paths);
}

Status EgarchVariances(const EgarchModel &model, const VarianceSeries &series, const VariancePaths &paths) {
  constexpr double highest = 709.0;
  const auto na = static_cast<std::int64_t>(model.news.size()),
             nb = static_cast<std::int64_t>(model.persistence.size());
  const auto observations = static_cast<std::int64_t>(series.y.size());
  const double *a = model.news.data(), *b = model.persistence.data();
  const double *y = series.y.data(), *c = series.intercept.data();
  double *l = paths.variance.data(), *e = paths.residual.data();
  OwnedBlock<double> news(observations);
  if (!news) return Status::NoMemory;

  const double start = std::log(MeanSquare(series.y));
  for (std::int64_t t = 0; t < observations; ++t) {
    double value = c[t];
    for (std::int64_t j = 1; j <= std::min(na, t); ++j) value += a[j - 1] * news[t - j];
    for (std::int64_t j = 1; j <= nb; ++j) value += b[j - 1] * (t >= j ? l[t - j] : start);
    const double bounded = value > highest ? highest : value;
    l[t] = t < std::max(na, nb) ? value : bounded;
    e[t] = ResidualOfLogVariance(model.inMean, y[t], bounded);
    const double z = e[t] * std::exp(-0.5 * bounded);
    news[t] = model.sizeEffect * (std::fabs(z) - model.expectedSize) + model.signEffect * z;
  }
  return Status::Ok;
}

}  // namespace tessel
