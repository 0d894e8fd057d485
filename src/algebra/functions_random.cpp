// Built-in random numbers: one draw a call, from the generator that is current. Degrees of freedom must be positive;
// those of Student's t are truncated to an integer first.
#include "algebra/functions.h"
#include "random/ran_table.h"
#include "random/variates.h"

namespace tessel {

double AlgRanU(AlgebraContext *, const double *) { return ranTable.uniform(); }
double AlgRanN(AlgebraContext *, const double *) { return ranTable.normal(); }

double AlgRanChi(AlgebraContext *context, const double *args) {
  return args[0] > 0 ? ChiVariate(args[0]) : Fault(context, ErrDegreesOfFreedom);
}

double AlgRanF(AlgebraContext *context, const double *args) {
  return args[0] > 0 && args[1] > 0 ? FVariate(args[0], args[1]) : Fault(context, ErrDegreesOfFreedom);
}

double AlgRanT(AlgebraContext *context, const double *args) {
  const int df = TruncateToInt(args[0]);
  return df > 0 ? StudentVariate(df) : Fault(context, ErrDegreesOfFreedom);
}

// -1 restores the default seed, 0 asks for the first word of the state, any other integer is the new seed; the integer
// is the value, except for 0.
double AlgRanSeed(AlgebraContext *, const double *args) {
  int seed = TruncateToInt(args[0]);
  if (seed == 0) {
    RanGetSeed(&seed, 1);
  } else if (seed == -1) {
    RanSetSeed(nullptr, 0);
  } else {
    RanSetSeed(&seed, 1);
  }
  return seed;
}

}  // namespace tessel
