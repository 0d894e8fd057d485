// Built-in functions of a column up to the current observation, of the run's whole range, and exponential filters.
#include <algorithm>
#include <span>

#include "algebra/functions.h"
#include "algebra/operators.h"
#include "series/running.h"

namespace tessel {

namespace {

// A column from the first observation of the run to the last of the `count` from the current one on.
std::span<const double> UpToRun(const AlgebraContext *context, const double *column, int count) {
  return {column + context->firstObs, column + context->currentObs + count};
}

// A column over the run.
template <class Cell>
std::span<Cell> OverRun(const AlgebraContext *context, Cell *column) {
  return {column + context->firstObs, column + context->lastObs + 1};
}

std::span<double> Results(double *out, int count) { return {out, out + count}; }

}  // namespace

// A stock without depreciation that starts from nothing.
void AlgCum(AlgebraContext *context, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(context, ColumnAt(context, args[0]), count), 0, 0, Results(out, count));
}

void AlgStock(AlgebraContext *context, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(context, ColumnAt(context, args[0]), count), args[1], args[2], Results(out, count));
}

void AlgStockv(AlgebraContext *context, const double *args, double *out, int count) {
  AccumulateStock(UpToRun(context, ColumnAt(context, args[0]), count),
                  UpToRun(context, ColumnAt(context, args[1]), count), args[2], Results(out, count));
}

void AlgPeak(AlgebraContext *context, const double *args, double *out, int count) {
  RunningMaximum(UpToRun(context, ColumnAt(context, args[0]), count), Results(out, count));
}

void AlgTrough(AlgebraContext *context, const double *args, double *out, int count) {
  RunningMinimum(UpToRun(context, ColumnAt(context, args[0]), count), Results(out, count));
}

void AlgMean(AlgebraContext *context, const double *args, double *out, int count) {
  std::fill_n(out, count, MeanOfValues(OverRun(context, ColumnAt(context, args[0]))));
}

void AlgVariance(AlgebraContext *context, const double *args, double *out, int count) {
  std::fill_n(out, count, VarianceOfValues(OverRun(context, ColumnAt(context, args[0]))));
}

// ewma(x, alpha, beta, target)
double AlgEwma(AlgebraContext *context, const double *args) {
  const double *x = ColumnAt(context, args[0]);
  const SymbolEntry &target = SymbolAt(context, args[3]);
  if (x == target.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, target, 3)) {
    const std::span<double> out = OverRun(context, target.data);
    SmoothExponentially(OverRun(context, x), args[1], args[2], out);
    SetNansMissing(out.data(), static_cast<int>(out.size()));
  }
  return target.data[context->currentObs];
}

// ewmc0(x, y, lambda, target)
double AlgEwmc0(AlgebraContext *context, const double *args) {
  const double *x = ColumnAt(context, args[0]), *y = ColumnAt(context, args[1]);
  const SymbolEntry &target = SymbolAt(context, args[3]);
  if (x == target.data || y == target.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, target, 4)) {
    const std::span<double> out = OverRun(context, target.data);
    CorrelateExponentially(OverRun(context, x), OverRun(context, y), args[2], out);
    SetNansMissing(out.data(), static_cast<int>(out.size()));
  }
  return target.data[context->currentObs];
}

}  // namespace tessel
