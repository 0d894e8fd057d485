// Built-in random numbers: one draw a call, from the generator that is current. Degrees of freedom must be positive;
// those of Student's t are truncated to an integer first.
#include "algebra/functions.h"
#include "random/generators.h"
#include "random/variates.h"

namespace tessel {

constinit Generators defaultGenerators;

double AlgRanU(AlgebraContext *, const double *) { return RanUniform(defaultGenerators); }
double AlgRanN(AlgebraContext *, const double *) { return RanNormal(defaultGenerators); }

double AlgRanChi(AlgebraContext *context, const double *args) {
  return args[0] > 0 ? ChiVariate(defaultGenerators, args[0]) : Fault(context, ErrDegreesOfFreedom);
}

double AlgRanF(AlgebraContext *context, const double *args) {
  return args[0] > 0 && args[1] > 0 ? FVariate(defaultGenerators, args[0], args[1])
                                    : Fault(context, ErrDegreesOfFreedom);
}

double AlgRanT(AlgebraContext *context, const double *args) {
  const int df = TruncateToInt(args[0]);
  return df > 0 ? StudentVariate(defaultGenerators, df) : Fault(context, ErrDegreesOfFreedom);
}

// -1 restores the default seed, 0 asks for the first word of the state, any other integer is the new seed; the integer
// is the value, except for 0.
double AlgRanSeed(AlgebraContext *, const double *args) {
  int seed = TruncateToInt(args[0]);
  if (seed == 0) {
    RanGetSeed(defaultGenerators, {&seed, 1});
  } else if (seed == -1) {
    RanSetSeed(defaultGenerators, {});
  } else {
    RanSetSeed(defaultGenerators, {&seed, 1});
  }
  return seed;
}

}  // namespace tessel
