// Built-in functions of a column up to the current observation, of the run's whole range, and exponential filters.
#include <algorithm>
#include <cmath>

#include "algebra/functions.h"
#include "algebra/operators.h"

namespace tessel {

namespace {

// A stretch of observations from the current one on, for which a function is wanted with the same arguments.
struct Stretch {
  Stretch(const AlgebraContext *context, double *results, int count)
      : start(context->firstObs), first(context->currentObs), end(first + count), out(results) {}

  void Set(int t, double value) {
    if (t >= first) out[t - first] = value;
  }

  int start;  // of the run
  int first;
  int end;
  double *out;
};

// v = (1 - d) v + x[i] from the first observation of the run at which all columns have a value; missing before it, and
// from the first gap behind it on. The rate d is `rate`, or rates[i] where there is such a column. No state is kept
// between calls: the columns may have been written since the last one.
void Accumulate(Stretch stretch, const double *x, const double *rates, double rate, double v) {
  bool started = false, ended = false;
  for (int i = stretch.start; i < stretch.end; ++i) {
    const bool missing = IsMissing(x[i]) || (rates != nullptr && IsMissing(rates[i]));
    ended = ended || (started && missing);
    started = started || !missing;
    if (started && !ended) v = (1 - (rates != nullptr ? rates[i] : rate)) * v + x[i];
    stretch.Set(i, started && !ended ? v : AlgebraMissing());
  }
}

// The largest value of x from the start of the run on, or with sign -1 the smallest; missing where x is.
void Extreme(Stretch stretch, const double *x, double sign) {
  double extreme = AlgebraMissing();
  for (int i = stretch.start; i < stretch.end; ++i) {
    if (IsMissing(extreme) || sign * x[i] > sign * extreme) extreme = x[i];
    stretch.Set(i, IsMissing(x[i]) ? x[i] : extreme);
  }
}

// The mean of x[i] - centre, or of its square, over the values of the run; missing without any.
double MeanDeviation(const AlgebraContext *context, const double *x, double centre, bool squared) {
  double sum = 0, count = 0;
  for (int i = context->firstObs; i <= context->lastObs; ++i) {
    if (IsMissing(x[i])) continue;
    const double deviation = x[i] - centre;
    sum += squared ? deviation * deviation : deviation;
    ++count;
  }
  return count > 0 ? sum / count : AlgebraMissing();
}

double UnitInterval(double x) { return std::clamp(x, 0.0, 1.0); }

// Exponential smoothing with a level and a trend (Holt). A gap is filled along the last line.
void Smooth(const double *x, int first, int last, double alpha, double beta, double *out) {
  double level = 0, trend = 0, gap = 1;
  int values = 0;
  for (int i = first; i <= last; ++i) {
    const double v = x[i];
    if (IsMissing(v)) {
      out[i] = OrMissing(values > 0 ? gap * trend + level : v);
      if (values > 0) ++gap;
      continue;
    }
    ++values;
    if (values == 1) {
      level = v;
    } else if (values == 2 && beta > 0) {
      trend = v - level;
      level = v;
    } else {
      const double previous = level;
      gap = 1;
      level = (trend + previous) * (1 - alpha) + alpha * v;
      trend = (level - previous) * beta + (1 - beta) * trend;
    }
    out[i] = OrMissing(level);
  }
}

// The correlation of x and y around means of zero, with weights that fall by lambda for each observation.
void Correlate(const double *x, const double *y, int first, int last, double lambda, double *out) {
  constexpr int fewest = 3;
  double xy = 0, xx = 0, yy = 0;
  int values = 0;
  for (int i = first; i <= last; ++i) {
    if (!IsMissing(x[i]) && !IsMissing(y[i])) {
      xy = x[i] * y[i] + lambda * xy;
      xx = x[i] * x[i] + lambda * xx;
      yy = y[i] * y[i] + lambda * yy;
      ++values;
    }
    out[i] = OrMissing(values >= fewest ? xy / std::sqrt(xx * yy) : AlgebraMissing());
  }
}

}  // namespace

// A stock without depreciation that starts from nothing.
void AlgCum(AlgebraContext *context, const double *args, double *out, int count) {
  Accumulate({context, out, count}, ColumnAt(context, args[0]), nullptr, 0, 0);
}

void AlgStock(AlgebraContext *context, const double *args, double *out, int count) {
  Accumulate({context, out, count}, ColumnAt(context, args[0]), nullptr, args[1], args[2]);
}

void AlgStockv(AlgebraContext *context, const double *args, double *out, int count) {
  Accumulate({context, out, count}, ColumnAt(context, args[0]), ColumnAt(context, args[1]), 0, args[2]);
}

void AlgPeak(AlgebraContext *context, const double *args, double *out, int count) {
  Extreme({context, out, count}, ColumnAt(context, args[0]), 1);
}

void AlgTrough(AlgebraContext *context, const double *args, double *out, int count) {
  Extreme({context, out, count}, ColumnAt(context, args[0]), -1);
}

void AlgMean(AlgebraContext *context, const double *args, double *out, int count) {
  std::fill_n(out, count, MeanDeviation(context, ColumnAt(context, args[0]), 0, false));
}

void AlgVariance(AlgebraContext *context, const double *args, double *out, int count) {
  const double *x = ColumnAt(context, args[0]);
  std::fill_n(out, count, MeanDeviation(context, x, MeanDeviation(context, x, 0, false), true));
}

// ewma(x, alpha, beta, target)
double AlgEwma(AlgebraContext *context, const double *args) {
  const double *x = ColumnAt(context, args[0]);
  const SymbolEntry &target = SymbolAt(context, args[3]);
  if (x == target.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, target, 3)) {
    Smooth(x, context->firstObs, context->lastObs, UnitInterval(args[1]), UnitInterval(args[2]), target.data);
  }
  return target.data[context->currentObs];
}

// ewmc0(x, y, lambda, target)
double AlgEwmc0(AlgebraContext *context, const double *args) {
  const double *x = ColumnAt(context, args[0]), *y = ColumnAt(context, args[1]);
  const SymbolEntry &target = SymbolAt(context, args[3]);
  if (x == target.data || y == target.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, target, 4)) {
    Correlate(x, y, context->firstObs, context->lastObs, UnitInterval(args[2]), target.data);
  }
  return target.data[context->currentObs];
}

}  // namespace tessel
