// Built-in functions of a column around the current observation t. Lags and leads are truncated toward zero.
//
// The bound differs: lag, lead and diff read anywhere in the sample, while dlog and the windows end at the last
// observation of the run.
#include <cmath>
#include <cstdint>

#include "algebra/functions.h"

namespace tessel {

namespace {

// x[t + offset] inside the sample, else missing.
double At(AlgebraRun &run, const double *x, std::int64_t offset) {
  const std::int64_t i = run.currentObs + offset;
  return i < 0 || i >= run.obsLimit ? AlgebraMissing() : x[i];
}

// The observations that a window covers; none when first is past last.
struct Window {
  std::int64_t first;
  std::int64_t last;
};

Window Around(const AlgebraRun &run, double lag, double lead) {
  const std::int64_t t = run.currentObs;
  return {t - TruncateToInt(lag), t + TruncateToInt(lead)};
}

// Whether every observation of the window lies in the run and has a value.
bool IsComplete(const AlgebraRun &run, const double *x, const Window &window) {
  if (window.first > window.last) return true;
  if (window.first < 0 || window.last > run.lastObs) return false;
  for (std::int64_t i = window.first; i <= window.last; ++i) {
    if (IsMissing(x[i])) return false;
  }
  return true;
}

}  // namespace

double AlgLag(AlgebraRun &run, const double *args) {
  return At(run, ColumnAt(run, args[0]), -std::int64_t{TruncateToInt(args[1])});
}

double AlgLead(AlgebraRun &run, const double *args) { return At(run, ColumnAt(run, args[0]), TruncateToInt(args[1])); }

double AlgDiff(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  const double now = At(run, x, 0), before = At(run, x, -std::int64_t{TruncateToInt(args[1])});
  return IsMissing(now) || IsMissing(before) ? AlgebraMissing() : now - before;
}

double AlgDlog(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  const int t = run.currentObs;
  // t itself may lie past the run: a run whose first observation is beyond the last one starts there.
  if (t < 1 || t - 1 > run.lastObs || IsMissing(x[t]) || IsMissing(x[t - 1])) return AlgebraMissing();
  if (x[t] < 0 || x[t - 1] < 0) return Fault(run, ErrLogNonPositive);
  if (x[t] == 0 || x[t - 1] == 0) return Fault(run, ErrLogZero);
  return std::log(x[t]) - std::log(x[t - 1]);
}

// The divisor is formed from the arguments as they are, the window from their truncated values.
double AlgMovingAvg(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  const double lag = args[1], lead = args[2];
  const Window window = Around(run, lag, lead);
  if (!IsComplete(run, x, window)) return AlgebraMissing();
  if (window.first > window.last) return 0;
  double sum = 0;
  for (std::int64_t i = window.first; i <= window.last; ++i) sum += x[i];
  return sum / (lead + lag + 1);
}

double AlgMovingSD(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  const double lag = args[1], lead = args[2], mean = args[3];
  const Window window = Around(run, lag, lead);
  if (!IsComplete(run, x, window)) return AlgebraMissing();
  if (window.first > window.last) return 0;
  double sum = 0;
  for (std::int64_t i = window.first; i <= window.last; ++i) sum += (x[i] - mean) * (x[i] - mean);
  return std::sqrt(sum / (lead + lag + 1));
}

// The mean of x[t], ..., x[t - lag] with the weights (lag + 1)^power, ..., 1.
double AlgAlmon(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  const Window window = Around(run, args[1], 0);
  if (window.first > window.last || !IsComplete(run, x, window)) return AlgebraMissing();
  double sum = 0, weights = 0;
  for (std::int64_t i = window.last; i >= window.first; --i) {
    const double weight = std::pow(static_cast<double>(i - window.first + 1), args[2]);
    sum += weight * x[i];
    weights += weight;
  }
  return sum / weights;
}

}  // namespace tessel
