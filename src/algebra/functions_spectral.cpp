// Built-in functions that turn a column into a function of lag or frequency, laid out along the observations of the
// run.
#include <numbers>
#include <numeric>
#include <span>

#include "algebra/functions.h"
#include "algebra/operators.h"
#include "core/heap.h"
#include "series/spectral.h"

namespace tessel {

namespace {

// Fills the values, and the lags or frequencies they belong to. NoMemory: nothing is written.
using Transform = Status (*)(std::span<const double> x, std::span<double> values, std::span<double> positions);

// FUNCTION(x, values, positions)
double Transformed(AlgebraRun &run, const double *args, Transform transform) {
  const double *x = ColumnAt(run, args[0]);
  double *values = ColumnAt(run, args[1]), *positions = ColumnAt(run, args[2]);
  if (x == values) return Fault(run, ErrSameArguments);
  if (MustFill(run, 1)) {
    const int a = run.firstObs, n = run.lastObs - a + 1;
    const auto size = static_cast<std::size_t>(n);
    if (transform({x + a, size}, {values + a, size}, {positions + a, size}) == Status::NoMemory) ReportNoMemory(run);
    SetNansMissing(values + a, n);
  }
  return values[run.currentObs];
}

Status ToCorrelogram(std::span<const double> x, std::span<double> values, std::span<double> lags) {
  const Status status = Correlogram(x, values);
  std::iota(lags.begin(), lags.end(), 0.0);
  return status;
}

Status ToPartialCorrelogram(std::span<const double> x, std::span<double> values, std::span<double> lags) {
  const OwnedBlock<double> work(static_cast<std::int64_t>(x.size()));
  if (!work) return Status::NoMemory;
  const std::span<double> correlogram(work.get(), x.size());
  Status status = Correlogram(x, correlogram);
  if (Succeeded(status)) status = PartialCorrelogram(correlogram, values);
  if (status != Status::NoMemory) std::iota(lags.begin(), lags.end(), 0.0);
  return status;
}

// The periodogram is symmetric around the frequency pi.
Status ToPeriodogram(std::span<const double> x, std::span<double> values, std::span<double> frequencies) {
  const std::size_t n = x.size();
  const Status status = Periodogram(x, values.first(n / 2 + 1));
  if (Failed(status)) return status;
  for (std::size_t k = n / 2 + 1; k < n; ++k) values[k] = values[n - k];
  for (std::size_t k = 0; k < n; ++k)
    frequencies[k] = std::numbers::pi * (2.0 * static_cast<double>(k) / static_cast<double>(n));
  return status;
}

}  // namespace

double AlgAcf(AlgebraRun &run, const double *args) { return Transformed(run, args, ToCorrelogram); }
double AlgPacf(AlgebraRun &run, const double *args) { return Transformed(run, args, ToPartialCorrelogram); }
double AlgPeriodogram(AlgebraRun &run, const double *args) { return Transformed(run, args, ToPeriodogram); }

}  // namespace tessel
