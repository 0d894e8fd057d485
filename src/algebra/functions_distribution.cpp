// Built-in densities, tails and probabilities. Degrees of freedom must be positive; those of Student's t are truncated
// to an integer first.
#include "algebra/functions.h"
#include "special/distributions.h"
#include "special/normal.h"

namespace tessel {

namespace {

double OfChi(AlgebraRun &run, const double *args, double (*function)(double, double)) {
  return args[1] > 0 ? function(args[0], args[1]) : Fault(run, ErrDegreesOfFreedom);
}

double OfF(AlgebraRun &run, const double *args, double (*function)(double, double, double)) {
  return args[1] > 0 && args[2] > 0 ? function(args[0], args[1], args[2]) : Fault(run, ErrDegreesOfFreedom);
}

// The degrees of freedom of Student's t; 0, with the fault noted, when there are none.
int StudentDf(AlgebraRun &run, double argument) {
  const int df = TruncateToInt(argument);
  if (df <= 0) run.errors |= ErrDegreesOfFreedom;
  return df > 0 ? df : 0;
}

}  // namespace

double AlgDensChi(AlgebraRun &run, const double *args) { return OfChi(run, args, ChiDensity); }
double AlgTailChi(AlgebraRun &run, const double *args) { return OfChi(run, args, ChiTail); }

double AlgDensF(AlgebraRun &run, const double *args) { return OfF(run, args, FDensity); }
double AlgTailF(AlgebraRun &run, const double *args) { return OfF(run, args, FTail); }

double AlgDensT(AlgebraRun &run, const double *args) {
  const int df = StudentDf(run, args[1]);
  return df > 0 ? StudentDensity(args[0], df) : AlgebraMissing();
}

double AlgTailT(AlgebraRun &run, const double *args) {
  const int df = StudentDf(run, args[1]);
  return df > 0 ? StudentTail(args[0], df) : AlgebraMissing();
}

double AlgDensN(AlgebraRun &, const double *args) { return NormalDensity(args[0]); }
double AlgProbN(AlgebraRun &, const double *args) { return NormalCdf(args[0]); }
double AlgTailN(AlgebraRun &, const double *args) { return NormalTail(args[0], Tail::Upper); }

}  // namespace tessel
