// Built-in functions of a column up to the current observation, of the run's whole range, and exponential filters.
#include <algorithm>
#include <span>

#include "algebra/functions.h"
#include "algebra/operators.h"
#include "series/running.h"

namespace tessel {

namespace {

// A column from the first observation of the run to the last of the `count` from the current one on.
std::span<const double> UpToRun(const AlgebraRun &run, const double *column, int count) {
  return {column + run.firstObs, column + run.currentObs + count};
}

// A column over the run.
template <class Cell>
std::span<Cell> OverRun(const AlgebraRun &run, Cell *column) {
  return {column + run.firstObs, column + run.lastObs + 1};
}

std::span<double> Results(double *out, int count) { return {out, out + count}; }

}  // namespace

// A stock without depreciation that starts from nothing.
void AlgCum(AlgebraRun &run, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(run, ColumnAt(run, args[0]), count), 0, 0, Results(out, count));
}

void AlgStock(AlgebraRun &run, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(run, ColumnAt(run, args[0]), count), args[1], args[2], Results(out, count));
}

void AlgStockv(AlgebraRun &run, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(run, ColumnAt(run, args[0]), count), UpToRun(run, ColumnAt(run, args[1]), count), args[2],
                  Results(out, count));
}

void AlgPeak(AlgebraRun &run, const double *args, double *out, int count) {
  RunningMaximum(UpToRun(run, ColumnAt(run, args[0]), count), Results(out, count));
}

void AlgTrough(AlgebraRun &run, const double *args, double *out, int count) {
  RunningMinimum(UpToRun(run, ColumnAt(run, args[0]), count), Results(out, count));
}

void AlgMean(AlgebraRun &run, const double *args, double *out, int count) {
  std::fill_n(out, count, MeanOfValues(OverRun(run, ColumnAt(run, args[0]))));
}

void AlgVariance(AlgebraRun &run, const double *args, double *out, int count) {
  std::fill_n(out, count, VarianceOfValues(OverRun(run, ColumnAt(run, args[0]))));
}

// ewma(x, alpha, beta, target)
double AlgEwma(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]);
  double *target = ColumnAt(run, args[3]);
  if (x == target) return Fault(run, ErrSameArguments);
  if (MustFill(run, 3)) {
    const std::span<double> out = OverRun(run, target);
    SmoothExponentially(OverRun(run, x), args[1], args[2], out);
    SetNansMissing(out.data(), static_cast<int>(out.size()));
  }
  return target[run.currentObs];
}

// ewmc0(x, y, lambda, target)
double AlgEwmc0(AlgebraRun &run, const double *args) {
  const double *x = ColumnAt(run, args[0]), *y = ColumnAt(run, args[1]);
  double *target = ColumnAt(run, args[3]);
  if (x == target || y == target) return Fault(run, ErrSameArguments);
  if (MustFill(run, 4)) {
    const std::span<double> out = OverRun(run, target);
    CorrelateExponentially(OverRun(run, x), OverRun(run, y), args[2], out);
    SetNansMissing(out.data(), static_cast<int>(out.size()));
  }
  return target[run.currentObs];
}

}  // namespace tessel
