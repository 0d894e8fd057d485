// Built-in smoothers: each fills its destination over the run.
#include "algebra/functions.h"
#include "algebra/operators.h"
#include "series/smooth.h"

namespace tessel {

namespace {

constexpr int kFewest = 3;

using SmoothFunction = Status (*)(std::span<const double> x, double parameter, std::span<double> out);

// FUNCTION(x, parameter, target)
double Smoothed(AlgebraRun &run, const double *args, SmoothFunction smooth) {
  const double *x = ColumnAt(run, args[0]);
  double *target = ColumnAt(run, args[2]);
  if (x == target) return Fault(run, ErrSameArguments);
  if (MustFill(run, kFewest)) {
    const int a = run.firstObs, n = run.lastObs - a + 1;
    const std::span<double> out(target + a, static_cast<std::size_t>(n));
    if (smooth({x + a, out.size()}, args[1], out) == Status::NoMemory) ReportNoMemory(run);
    SetNansMissing(out.data(), n);
  }
  return target[run.currentObs];
}

}  // namespace

double AlgSmoothHp(AlgebraRun &run, const double *args) { return Smoothed(run, args, SmoothTrend); }
double AlgSmoothNp(AlgebraRun &run, const double *args) { return Smoothed(run, args, SmoothKernel); }
double AlgSmoothSp(AlgebraRun &run, const double *args) { return Smoothed(run, args, SmoothSpline); }

}  // namespace tessel
