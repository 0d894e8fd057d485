// Built-in functions that turn a column into a function of lag or frequency, laid out along the observations of the
// run.
#include <algorithm>
#include <numbers>
#include <numeric>

#include "algebra/functions.h"
#include "algebra/operators.h"
#include "core/heap.h"
#include "series/spectral.h"

namespace tessel {

namespace {

// Fills n cells of values and of the lags or frequencies they belong to. False, with nothing written, when memory
// fails.
using Transform = bool (*)(const double *x, int n, double *values, double *positions);

// FUNCTION(x, values, positions)
double Transformed(AlgebraContext *context, const double *args, Transform transform) {
  const double *x = ColumnAt(context, args[0]);
  const SymbolEntry &values = SymbolAt(context, args[1]), &positions = SymbolAt(context, args[2]);
  if (x == values.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, values, 1)) {
    DbMarkChanged(context->database, positions.handle);
    const int a = context->firstObs, n = context->lastObs - a + 1;
    if (!transform(x + a, n, values.data + a, positions.data + a)) ReportNoMemory(context);
    SetNansMissing(values.data + a, n);
  }
  return values.data[context->currentObs];
}

bool ToCorrelogram(const double *x, int n, double *values, double *lags) {
  Correlogram(x, n, n - 1, values);
  std::iota(lags, lags + n, 0.0);
  return true;
}

bool ToPartialCorrelogram(const double *x, int n, double *values, double *lags) {
  OwnedBlock<double> correlogram(n), work(n);
  if (!correlogram || !work) return false;
  Correlogram(x, n, n - 1, correlogram.get());
  PartialCorrelogram(correlogram.get(), n, values, work.get());
  std::iota(lags, lags + n, 0.0);
  return true;
}

bool ToPeriodogram(const double *x, int n, double *values, double *frequencies) {
  OwnedBlock<double> work(n);
  if (!work) return false;
  Periodogram(x, n, values, work.get());
  for (int k = n / 2 + 1; k < n; ++k) values[k] = values[n - k];
  for (int k = 0; k < n; ++k) frequencies[k] = std::numbers::pi * (2.0 * k / n);
  return true;
}

}  // namespace

double AlgAcf(AlgebraContext *context, const double *args) { return Transformed(context, args, ToCorrelogram); }
double AlgPacf(AlgebraContext *context, const double *args) { return Transformed(context, args, ToPartialCorrelogram); }
double AlgPeriodogram(AlgebraContext *context, const double *args) { return Transformed(context, args, ToPeriodogram); }

}  // namespace tessel
