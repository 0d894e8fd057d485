// Running sums and extremes, means and exponential filters.
#include "series/running.h"

#include <algorithm>
#include <cmath>

#include "core/missing.h"

namespace tessel {

namespace {

// The results of a series from its first cell on, of which `out` keeps the last ones.
class Tail {
 public:
  Tail(std::span<const double> x, std::span<double> out) : first_(x.size() - out.size()), out_(out) {}

  void Set(std::size_t t, double value) const {
    if (t >= first_) out_[t - first_] = value;
  }

 private:
  std::size_t first_;
  std::span<double> out_;
};

// rateAt(t) is the rate of period t.
template <class RateAt>
void Accumulate(std::span<const double> x, RateAt rateAt, double stock, std::span<double> out) {
  const Tail tail(x, out);
  bool started = false, ended = false;
  for (std::size_t t = 0; t < x.size(); ++t) {
    const double rate = rateAt(t);
    const bool missing = IsMissing(x[t]) || IsMissing(rate);
    ended = ended || (started && missing);
    started = started || !missing;
    if (!missing) stock = (1 - rate) * stock + x[t];
    tail.Set(t, started && !ended ? stock : MissingValue());
  }
}

// The largest value so far, or with sign -1 the smallest.
void Extreme(std::span<const double> x, double sign, std::span<double> out) {
  const Tail tail(x, out);
  double extreme = MissingValue();
  for (std::size_t t = 0; t < x.size(); ++t) {
    if (IsMissing(extreme) || sign * x[t] > sign * extreme) extreme = x[t];
    tail.Set(t, IsMissing(x[t]) ? x[t] : extreme);
  }
}

// The mean of term(x) over the values.
template <class Term>
double MeanOf(std::span<const double> x, Term term) {
  double sum = 0, count = 0;
  for (const double v : x) {
    if (IsMissing(v)) continue;
    sum += term(v);
    ++count;
  }
  return count > 0 ? sum / count : MissingValue();
}

double UnitInterval(double x) { return std::clamp(x, 0.0, 1.0); }

}  // namespace

void AccumulateStock(std::span<const double> x, double rate, double initial, std::span<double> out) {
  Accumulate(
      x, [=](std::size_t) { return rate; }, initial, out);
}

void AccumulateStock(std::span<const double> x, std::span<const double> rates, double initial, std::span<double> out) {
  Accumulate(
      x, [=](std::size_t t) { return rates[t]; }, initial, out);
}

void RunningMaximum(std::span<const double> x, std::span<double> out) { Extreme(x, 1, out); }
void RunningMinimum(std::span<const double> x, std::span<double> out) { Extreme(x, -1, out); }

double MeanOfValues(std::span<const double> x) {
  return MeanOf(x, [](double v) { return v; });
}

double VarianceOfValues(std::span<const double> x) {
  const double mean = MeanOfValues(x);
  return MeanOf(x, [=](double v) { return (v - mean) * (v - mean); });
}

void SmoothExponentially(std::span<const double> x, double alpha, double beta, std::span<double> out) {
  alpha = UnitInterval(alpha);
  beta = UnitInterval(beta);
  double level = 0, trend = 0, gap = 1;
  int values = 0;
  for (std::size_t t = 0; t < x.size(); ++t) {
    if (IsMissing(x[t])) {
      out[t] = values > 0 ? gap * trend + level : x[t];
      if (values > 0) ++gap;
      continue;
    }
    ++values;
    if (values == 1) {
      level = x[t];
    } else if (values == 2 && beta > 0) {
      trend = x[t] - level;
      level = x[t];
    } else {
      const double previous = level;
      gap = 1;
      level = (trend + previous) * (1 - alpha) + alpha * x[t];
      trend = (level - previous) * beta + (1 - beta) * trend;
    }
    out[t] = level;
  }
}

void CorrelateExponentially(std::span<const double> x, std::span<const double> y, double lambda,
                            std::span<double> out) {
  constexpr int fewest = 3;
  lambda = UnitInterval(lambda);
  double xy = 0, xx = 0, yy = 0;
  int values = 0;
  for (std::size_t t = 0; t < out.size(); ++t) {
    if (!IsMissing(x[t]) && !IsMissing(y[t])) {
      xy = x[t] * y[t] + lambda * xy;
      xx = x[t] * x[t] + lambda * xx;
      yy = y[t] * y[t] + lambda * yy;
      ++values;
    }
    out[t] = values >= fewest ? xy / std::sqrt(xx * yy) : MissingValue();
  }
}

}  // namespace tessel
