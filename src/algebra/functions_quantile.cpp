// Built-in quantiles. Degrees of freedom must be positive; those of Student's t are truncated to an integer first.
#include "algebra/functions.h"
#include "special/quantiles.h"

namespace tessel {

double AlgQuanN(AlgebraContext *, const double *args) { return NormalQuantile(args[0]); }

double AlgQuanChi(AlgebraContext *context, const double *args) {
  return args[1] > 0 ? ChiQuantile(args[0], args[1]) : Fault(context, ErrDegreesOfFreedom);
}

double AlgQuanT(AlgebraContext *context, const double *args) {
  const int df = TruncateToInt(args[1]);
  return df > 0 ? StudentQuantile(args[0], df) : Fault(context, ErrDegreesOfFreedom);
}

double AlgQuanF(AlgebraContext *context, const double *args) {
  return args[1] > 0 && args[2] > 0 ? FQuantile(args[0], args[1], args[2]) : Fault(context, ErrDegreesOfFreedom);
}

}  // namespace tessel
