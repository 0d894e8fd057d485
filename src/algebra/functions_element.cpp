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
double OfPositive(AlgebraContext *context, double x, double (*function)(double)) {
  if (x < 0) return Fault(context, ErrLogNonPositive);
  if (x == 0) {
    context->errors |= ErrLogZero;
    return -PositiveInfinity();
  }
  return function(x);
}

}  // namespace

double AlgAbs(AlgebraContext *, const double *args) { return std::fabs(args[0]); }
double AlgAcos(AlgebraContext *, const double *args) { return std::acos(args[0]); }
double AlgAsin(AlgebraContext *, const double *args) { return std::asin(args[0]); }
double AlgAtan(AlgebraContext *, const double *args) { return std::atan(args[0]); }
double AlgCeil(AlgebraContext *, const double *args) { return std::ceil(args[0]); }
double AlgCos(AlgebraContext *, const double *args) { return std::cos(args[0]); }
double AlgFloor(AlgebraContext *, const double *args) { return std::floor(args[0]); }
double AlgFmod(AlgebraContext *, const double *args) { return std::fmod(args[0], args[1]); }
double AlgMax(AlgebraContext *, const double *args) { return args[1] > args[0] ? args[1] : args[0]; }
double AlgMin(AlgebraContext *, const double *args) { return args[1] > args[0] ? args[0] : args[1]; }
double AlgRound(AlgebraContext *, const double *args) { return std::floor(args[0] + 0.5); }
double AlgSin(AlgebraContext *, const double *args) { return std::sin(args[0]); }
double AlgTan(AlgebraContext *, const double *args) { return std::tan(args[0]); }

double AlgDiv(AlgebraContext *context, const double *args) {
  const int dividend = TruncateToInt(args[0]), divisor = TruncateToInt(args[1]);
  if (divisor == 0) return Fault(context, ErrDivideByZero);
  return ClampToInt(std::int64_t{dividend} / divisor);
}

double AlgExp(AlgebraContext *context, const double *args) {
  if (args[0] >= kExponentLimit) context->errors |= ErrExponentOverflow;
  return std::exp(args[0]);
}

double AlgSqrt(AlgebraContext *context, const double *args) {
  return args[0] < 0 ? Fault(context, ErrSqrtNegative) : std::sqrt(args[0]);
}

double AlgLog(AlgebraContext *context, const double *args) { return OfPositive(context, args[0], std::log); }
double AlgLog10(AlgebraContext *context, const double *args) { return OfPositive(context, args[0], std::log10); }
double AlgLogGamma(AlgebraContext *context, const double *args) { return OfPositive(context, args[0], LogGamma); }

double AlgTrend(AlgebraContext *context, const double *) { return context->currentObs + 1.0; }

double AlgPeriod(AlgebraContext *context, const double *) {
  return SamplePeriod(context->currentObs, context->database->sample);
}

double AlgSeason(AlgebraContext *context, const double *) {
  return SamplePeriod(context->currentObs, context->database->sample) == 1;
}

}  // namespace tessel
