// Built-in functions of values and of the position.
#include <cmath>
#include <cstdint>

#include "algebra/clamp.h"
#include "algebra/functions.h"
#include "special/gamma.h"

namespace tessel {

namespace {

// From here on the exponential is reported, though it is still finite just above.
constexpr double kExponentLimit = 709.0;

// A function of positive values, with the faults of the logarithm.
double OfPositive(AlgebraRun &run, double x, double (*function)(double)) {
  if (x < 0) return Fault(run, ErrLogNonPositive);
  if (x == 0) {
    run.errors |= ErrLogZero;
    return -PositiveInfinity();
  }
  return function(x);
}

}  // namespace

double AlgAbs(AlgebraRun &, const double *args) { return std::fabs(args[0]); }
double AlgAcos(AlgebraRun &, const double *args) { return std::acos(args[0]); }
double AlgAsin(AlgebraRun &, const double *args) { return std::asin(args[0]); }
double AlgAtan(AlgebraRun &, const double *args) { return std::atan(args[0]); }
double AlgCeil(AlgebraRun &, const double *args) { return std::ceil(args[0]); }
double AlgCos(AlgebraRun &, const double *args) { return std::cos(args[0]); }
double AlgFloor(AlgebraRun &, const double *args) { return std::floor(args[0]); }
double AlgFmod(AlgebraRun &, const double *args) { return std::fmod(args[0], args[1]); }
double AlgMax(AlgebraRun &, const double *args) { return args[1] > args[0] ? args[1] : args[0]; }
double AlgMin(AlgebraRun &, const double *args) { return args[1] > args[0] ? args[0] : args[1]; }
double AlgRound(AlgebraRun &, const double *args) { return std::floor(args[0] + 0.5); }
double AlgSin(AlgebraRun &, const double *args) { return std::sin(args[0]); }
double AlgTan(AlgebraRun &, const double *args) { return std::tan(args[0]); }

double AlgDiv(AlgebraRun &run, const double *args) {
  const int dividend = TruncateToInt(args[0]), divisor = TruncateToInt(args[1]);
  if (divisor == 0) return Fault(run, ErrDivideByZero);
  return ClampToInt(std::int64_t{dividend} / divisor);
}

double AlgExp(AlgebraRun &run, const double *args) {
  if (args[0] >= kExponentLimit) run.errors |= ErrExponentOverflow;
  return std::exp(args[0]);
}

double AlgSqrt(AlgebraRun &run, const double *args) {
  return args[0] < 0 ? Fault(run, ErrSqrtNegative) : std::sqrt(args[0]);
}

double AlgLog(AlgebraRun &run, const double *args) { return OfPositive(run, args[0], std::log); }
double AlgLog10(AlgebraRun &run, const double *args) { return OfPositive(run, args[0], std::log10); }
double AlgLogGamma(AlgebraRun &run, const double *args) { return OfPositive(run, args[0], LogGamma); }

double AlgTrend(AlgebraRun &run, const double *) { return run.currentObs + 1.0; }

double AlgPeriod(AlgebraRun &run, const double *) { return SamplePeriod(run.currentObs, run.database->sample); }

double AlgSeason(AlgebraRun &run, const double *) { return SamplePeriod(run.currentObs, run.database->sample) == 1; }

}  // namespace tessel
