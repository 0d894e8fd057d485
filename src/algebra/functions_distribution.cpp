// Built-in densities, tails and probabilities. Degrees of freedom must be positive; those of Student's t are truncated
// to an integer first.
#include "algebra/functions.h"
#include "special/distributions.h"
#include "special/normal.h"

namespace tessel {

namespace {

double OfChi(AlgebraContext *context, const double *args, double (*function)(double, double)) {
  return args[1] > 0 ? function(args[0], args[1]) : Fault(context, ErrDegreesOfFreedom);
}

double OfF(AlgebraContext *context, const double *args, double (*function)(double, double, double)) {
  return args[1] > 0 && args[2] > 0 ? function(args[0], args[1], args[2]) : Fault(context, ErrDegreesOfFreedom);
}

// The degrees of freedom of Student's t; 0, with the fault noted, when there are none.
int StudentDf(AlgebraContext *context, double argument) {
  const int df = TruncateToInt(argument);
  if (df <= 0) context->errors |= ErrDegreesOfFreedom;
  return df > 0 ? df : 0;
}

}  // namespace

double AlgDensChi(AlgebraContext *context, const double *args) { return OfChi(context, args, ChiDensity); }
double AlgTailChi(AlgebraContext *context, const double *args) { return OfChi(context, args, ChiTail); }

double AlgDensF(AlgebraContext *context, const double *args) { return OfF(context, args, FDensity); }
double AlgTailF(AlgebraContext *context, const double *args) { return OfF(context, args, FTail); }

double AlgDensT(AlgebraContext *context, const double *args) {
  const int df = StudentDf(context, args[1]);
  return df > 0 ? StudentDensity(args[0], df) : AlgebraMissing();
}

double AlgTailT(AlgebraContext *context, const double *args) {
  const int df = StudentDf(context, args[1]);
  return df > 0 ? StudentTail(args[0], df) : AlgebraMissing();
}

double AlgDensN(AlgebraContext *, const double *args) { return NormalDensity(args[0]); }
double AlgProbN(AlgebraContext *, const double *args) { return NormalCdf(args[0]); }
double AlgTailN(AlgebraContext *, const double *args) { return NormalTail(args[0], Tail::Upper); }

}  // namespace tessel
