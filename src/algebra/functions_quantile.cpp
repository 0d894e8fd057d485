// Built-in quantiles. Degrees of freedom must be positive; those of Student's t are truncated to an integer first.
#include "algebra/functions.h"
#include "special/quantiles.h"

namespace tessel {

double AlgQuanN(AlgebraRun &, const double *args) { return NormalQuantile(args[0]); }

double AlgQuanChi(AlgebraRun &run, const double *args) {
  return args[1] > 0 ? ChiQuantile(args[0], args[1]) : Fault(run, ErrDegreesOfFreedom);
}

double AlgQuanT(AlgebraRun &run, const double *args) {
  const int df = TruncateToInt(args[1]);
  return df > 0 ? StudentQuantile(args[0], df) : Fault(run, ErrDegreesOfFreedom);
}

double AlgQuanF(AlgebraRun &run, const double *args) {
  return args[1] > 0 && args[2] > 0 ? FQuantile(args[0], args[1], args[2]) : Fault(run, ErrDegreesOfFreedom);
}

}  // namespace tessel
