// Built-in smoothers: each fills its destination over the run.
#include "algebra/functions.h"
#include "algebra/operators.h"
#include "series/smooth.h"

namespace tessel {

namespace {

constexpr int kFewest = 3;

using SmoothFunction = Status (*)(std::span<const double> x, double parameter, std::span<double> out);

// FUNCTION(x, parameter, target)
double Smoothed(AlgebraContext *context, const double *args, SmoothFunction smooth) {
  const double *x = ColumnAt(context, args[0]);
  const SymbolEntry &target = SymbolAt(context, args[2]);
  if (x == target.data) return Fault(context, ErrSameArguments);
  if (MustFill(context, target, kFewest)) {
    const int a = context->firstObs, n = context->lastObs - a + 1;
    const std::span<double> out(target.data + a, static_cast<std::size_t>(n));
    if (smooth({x + a, out.size()}, args[1], out) == Status::NoMemory) ReportNoMemory(context);
    SetNansMissing(out.data(), n);
  }
  return target.data[context->currentObs];
}

}  // namespace

double AlgSmoothHp(AlgebraContext *context, const double *args) { return Smoothed(context, args, SmoothTrend); }
double AlgSmoothNp(AlgebraContext *context, const double *args) { return Smoothed(context, args, SmoothKernel); }
double AlgSmoothSp(AlgebraContext *context, const double *args) { return Smoothed(context, args, SmoothSpline); }

}  // namespace tessel
