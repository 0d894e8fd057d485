// Built-in random numbers: one draw a call, from the generator that is current. Degrees of freedom must be positive;
// those of Student's t are truncated to an integer first.
#include "algebra/functions.h"
#include "random/generators.h"
#include "random/variates.h"

namespace tessel {

double AlgRanU(AlgebraRun &run, const double *) { return RanUniform(*run.generators); }
double AlgRanN(AlgebraRun &run, const double *) { return RanNormal(*run.generators); }

double AlgRanChi(AlgebraRun &run, const double *args) {
  return args[0] > 0 ? ChiVariate(*run.generators, args[0]) : Fault(run, ErrDegreesOfFreedom);
}

double AlgRanF(AlgebraRun &run, const double *args) {
  return args[0] > 0 && args[1] > 0 ? FVariate(*run.generators, args[0], args[1]) : Fault(run, ErrDegreesOfFreedom);
}

double AlgRanT(AlgebraRun &run, const double *args) {
  const int df = TruncateToInt(args[0]);
  return df > 0 ? StudentVariate(*run.generators, df) : Fault(run, ErrDegreesOfFreedom);
}

// -1 restores the default seed, 0 asks for the first word of the state, any other integer is the new seed; the integer
// is the value, except for 0.
double AlgRanSeed(AlgebraRun &run, const double *args) {
  int seed = TruncateToInt(args[0]);
  if (seed == 0) {
    RanGetSeed(*run.generators, {&seed, 1});
  } else if (seed == -1) {
    RanSetSeed(*run.generators, {});
  } else {
    RanSetSeed(*run.generators, {&seed, 1});
  }
  return seed;
}

}  // namespace tessel
